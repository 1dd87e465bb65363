#ifndef STUBS_CALLS_H
#define STUBS_CALLS_H

// The three call variants, once for all methods. The caller's arguments come first, so that an
// export only adds its method's own and jumps.

#include "mqc_fes_intf.h"

namespace stubs {

/// A method's place in the roll call.
enum class Row : u32;

using FillDesc = void (*)(IdlMsgDesc* desc);

#pragma GCC visibility push(hidden)
u32 call(const void* req, void* opt, Row row, FillDesc fill);
u32 callAsync(const void* req, RpcAsyncCallback cb, void* userData, void* opt, Row row,
              FillDesc fill);
u32 callOneway(const void* req, void* opt, Row row, FillDesc fill);
#pragma GCC visibility pop

}  // namespace stubs

#endif
