#ifndef CODEC_SHARED_TABLES_H
#define CODEC_SHARED_TABLES_H

// The nested tables that many requests share, each with functions of its own.

#include "codec/compact.h"
#include "codec/full.h"

SLOTS(MqcRuleHead, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
SLOTS(MqcActHead, SLOT(f0), SLOT(f1), SLOT(f2))
SLOTS(MqcBytes16, SLOT(f0))

namespace codec {

template <class Head>
CODEC_INLINE u32 packHead(PackPos* pos, const void* rec) {
  const u8* const record = static_cast<const u8*>(rec);
  return static_cast<u32>(packTable<ListOf<Head>>(pos, record) - pos->base);
}

template <class Table>
CODEC_INLINE u32 packBlock(u8* block, const void* rec) {
  packFullTable<ListOf<Table>>(block, static_cast<const u8*>(rec));
  return 0;
}

}  // namespace codec

extern "C" {

// Compact: writes rec's nested table at pos->cur, moves pos->cur behind it and returns the table
// start relative to pos->base. Full: writes rec's nested block and returns 0. Neither tests its
// arguments; the output must have room. In line, since a call costs what the writing does.

CODEC_INLINE u32 MqcRuleHead_pack(PackPos* pos, const MqcRuleHead* rec) {
  return codec::packHead<MqcRuleHead>(pos, rec);
}

CODEC_INLINE u32 MqcActHead_pack(PackPos* pos, const MqcActHead* rec) {
  return codec::packHead<MqcActHead>(pos, rec);
}

CODEC_INLINE u32 MqcRuleHead_packFull(u8* block, const MqcRuleHead* rec) {
  return codec::packBlock<MqcRuleHead>(block, rec);
}

CODEC_INLINE u32 MqcActHead_packFull(u8* block, const MqcActHead* rec) {
  return codec::packBlock<MqcActHead>(block, rec);
}

CODEC_INLINE u32 MqcBytes16_packFull(u8* block, const MqcBytes16* bytes16) {
  return codec::packBlock<MqcBytes16>(block, bytes16);
}
}

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
