#ifndef CODEC_SHARED_TABLES_H
#define CODEC_SHARED_TABLES_H

// The nested tables that many requests share, each with functions of its own.

#include "codec/compact.h"
#include "codec/full.h"

#pragma GCC visibility push(hidden)
extern "C" {

/// Compact: writes rec's nested table at pos->cur, moves pos->cur behind it and returns the table
/// start relative to pos->base. No argument is tested; the output must have room.
u32 MqcRuleHead_pack(PackPos* pos, const MqcRuleHead* rec);
u32 MqcActHead_pack(PackPos* pos, const MqcActHead* rec);

/// Full: writes the nested block at block, of 48, 32 and 40 bytes, and returns 0. No argument is
/// tested.
u32 MqcRuleHead_packFull(u8* block, const MqcRuleHead* rec);
u32 MqcActHead_packFull(u8* block, const MqcActHead* rec);
u32 MqcBytes16_packFull(u8* block, const MqcBytes16* bytes16);
}
#pragma GCC visibility pop

SLOTS(MqcRuleHead, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
SLOTS(MqcActHead, SLOT(f0), SLOT(f1), SLOT(f2))
SLOTS(MqcBytes16, SLOT(f0))

namespace codec {

/// The nested record that stands at member in the caller's record.
template <class Record>
CODEC_INLINE const Record* recordAt(const u8* member) {
  return static_cast<const Record*>(static_cast<const void*>(member));
}

template <>
CODEC_INLINE u32 packNested<MqcRuleHead>(PackPos* pos, const u8* record) {
  return MqcRuleHead_pack(pos, recordAt<MqcRuleHead>(record));
}

template <>
CODEC_INLINE u32 packNested<MqcActHead>(PackPos* pos, const u8* record) {
  return MqcActHead_pack(pos, recordAt<MqcActHead>(record));
}

template <>
CODEC_INLINE void packNestedFull<MqcRuleHead>(u8* block, const u8* record) {
  MqcRuleHead_packFull(block, recordAt<MqcRuleHead>(record));
}

template <>
CODEC_INLINE void packNestedFull<MqcActHead>(u8* block, const u8* record) {
  MqcActHead_packFull(block, recordAt<MqcActHead>(record));
}

template <>
CODEC_INLINE void packNestedFull<MqcBytes16>(u8* block, const u8* record) {
  MqcBytes16_packFull(block, recordAt<MqcBytes16>(record));
}

}  // namespace codec

#endif
