#ifndef CODEC_SHARED_TABLES_H
#define CODEC_SHARED_TABLES_H

// The nested tables that many requests share, each with functions of its own, which the enclosing
// encoders call: in line, since a call costs what the writing does.

#include "codec/compact.h"
#include "codec/full.h"

#define COMPACT(Type)                                                      \
  extern "C" CODEC_INLINE u32 Type##_pack(PackPos* pos, const Type* rec) { \
    return codec::packNested<Type>(pos, rec);                              \
  }                                                                        \
  template <>                                                              \
  inline constexpr auto codec::nestedPacker<Type> = Type##_pack;

#define FULL(Type)                                                          \
  extern "C" CODEC_INLINE u32 Type##_packFull(u8* block, const Type* rec) { \
    return codec::packBlock<codec::ListOf<Type>>(block, rec);               \
  }                                                                         \
  template <>                                                               \
  inline constexpr auto codec::nestedFullPacker<Type> = Type##_packFull;

SLOTS(MqcRuleHead, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
COMPACT(MqcRuleHead)
FULL(MqcRuleHead)

SLOTS(MqcActHead, SLOT(f0), SLOT(f1), SLOT(f2))
COMPACT(MqcActHead)
FULL(MqcActHead)

SLOTS(MqcBytes16, SLOT(f0))
FULL(MqcBytes16)

#undef COMPACT
#undef FULL

#endif
