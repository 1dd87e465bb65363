#include "codec/shared_tables.h"

namespace {

template <class List>
CODEC_INLINE u32 packHead(PackPos* pos, const void* rec) {
  const u8* const record = static_cast<const u8*>(rec);
  return static_cast<u32>(codec::packTable<codec::Clear::direct, List>(pos, record) - pos->base);
}

}  // namespace

u32 MqcRuleHead_pack(PackPos* pos, const MqcRuleHead* rec) {
  return packHead<codec::ListOf<MqcRuleHead>>(pos, rec);
}

u32 MqcActHead_pack(PackPos* pos, const MqcActHead* rec) {
  return packHead<codec::ListOf<MqcActHead>>(pos, rec);
}

u32 MqcRuleHead_packFull(u8* block, const MqcRuleHead* rec) {
  return codec::packFull<codec::ListOf<MqcRuleHead>>(block, rec);
}

u32 MqcActHead_packFull(u8* block, const MqcActHead* rec) {
  return codec::packFull<codec::ListOf<MqcActHead>>(block, rec);
}

u32 MqcBytes16_packFull(u8* block, const MqcBytes16* bytes16) {
  return codec::packFull<codec::ListOf<MqcBytes16>>(block, bytes16);
}
