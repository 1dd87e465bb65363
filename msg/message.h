#ifndef MSG_MESSAGE_H
#define MSG_MESSAGE_H

// How a message is told: the slots of its record in order, the line its compact encoder logs, and
// whether it has a full encoding.

#include "codec/contract.h"
#include "codec/shared_tables.h"
#include "msg/encoders.h"

/// The compact encoder of a message; line names it in the log. Beside it the slot list as data,
/// which the shared object drops: nobody in it reads it.
#define COMPACT_ENCODER(Type, line)                                             \
  constinit const codec::TableInfo Type##_table = codec::Described<Type>::info; \
  static_assert((line) < 65'536, "an encoder's line is below 65,536");          \
  u32 Type##_pack(PackBuf* cursor, const void* req) {                           \
    return codec::pack<codec::ListOf<Type>>(cursor, req, #Type "_pack", line);  \
  }

/// The full encoder and the full-size getter of a message.
#define FULL_ENCODER(Type)                                 \
  u32 Type##_packFull(u8* out, const void* req) {          \
    return codec::packFull<codec::ListOf<Type>>(out, req); \
  }                                                        \
  u32 Type##_fullSize(void) {                              \
    return codec::LayoutOf<Type>::fullSize;                \
  }

#endif
