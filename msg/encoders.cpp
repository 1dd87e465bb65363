#include "msg/encoders.h"

#include "codec/contract.h"
#include "msg/messages.h"

#define PACK(Type, line)                                                       \
  static_assert((line) < 65'536, "an encoder's line is below 65,536");         \
  static_assert(Type##_COMPACT_MAX == codec::LayoutOf<Type>::compactMax,       \
                #Type "_COMPACT_MAX is not the longest compact encoding");     \
  u32 Type##_pack(PackBuf* cursor, const void* req) {                          \
    return codec::pack<codec::ListOf<Type>>(cursor, req, #Type "_pack", line); \
  }

#define PACK_FULL(Type, line)                                       \
  static_assert(Type##_FULL_MAX == codec::LayoutOf<Type>::fullSize, \
                #Type "_FULL_MAX is not the full size");            \
  u32 Type##_packFull(u8* out, const void* req) {                   \
    return codec::packFull<codec::ListOf<Type>>(out, req);          \
  }                                                                 \
  u32 Type##_fullSize(void) {                                       \
    return codec::LayoutOf<Type>::fullSize;                         \
  }

#define NO_FULL(Type, line)

MQC_MESSAGES(PACK, PACK)
MQC_MESSAGES(PACK_FULL, NO_FULL)

#undef PACK
#undef PACK_FULL
#undef NO_FULL
