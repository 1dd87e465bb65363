#ifndef MSG_ENCODERS_H
#define MSG_ENCODERS_H

// The encoders of every message, by name. A caller gets them through a method's SetIdl: they take
// their Type's record as the descriptor's slots hand it over, without its type.

#include "mqc_fes_intf.h"

// Hidden in every object that calls them too, so that no address needs a relocation.
#pragma GCC visibility push(hidden)
extern "C" {

#define DECLARE_COMPACT(method, Type) u32 Type##_pack(PackBuf* cursor, const void* req);

#define DECLARE_BOTH(method, Type)                   \
  u32 Type##_pack(PackBuf* cursor, const void* req); \
  u32 Type##_packFull(u8* out, const void* req);     \
  u32 Type##_fullSize(void);

MQC_FES_INTF_METHODS(DECLARE_BOTH, DECLARE_COMPACT)

#undef DECLARE_BOTH
#undef DECLARE_COMPACT
}
#pragma GCC visibility pop

#endif
