// The minimal platform: a runtime that does nothing and the bounded memory functions with their
// tests. In a file of its own, so that no compiler optimises across a call.

#include <cstdint>
#include <cstring>

#include "tarn/bounded_memory.h"
#include "tarn/rpc.h"

#pragma GCC visibility push(default)

int memset_s(void* dest, size_t max, int value, size_t count) {
  if (dest == nullptr || max > SIZE_MAX / 2) return 22;
  if (count > max) {
    std::memset(dest, value, max);
    return 22;
  }
  std::memset(dest, value, count);
  return 0;
}

int memcpy_s(void* dest, size_t max, const void* src, size_t count) {
  if (dest == nullptr || max > SIZE_MAX / 2) return 22;
  const auto to = reinterpret_cast<std::uintptr_t>(dest);
  const auto from = reinterpret_cast<std::uintptr_t>(src);
  if (src == nullptr || count > max || (to < from + count && from < to + count)) {
    std::memset(dest, 0, max);
    return 22;
  }
  std::memcpy(dest, src, count);
  return 0;
}

void* RPC_GetRpcInvoke(RpcServerAddr* addr, void*) {
  return addr;
}

u32 RPC_IdlSyncCallNoOutStub(void*, const void*, u32, const MethodId*, const IdlMsgDesc*) {
  return 0;
}

u32 RPC_IdlAsyncCallNoOutStub(void*, const void*, const MethodId*, const IdlMsgDesc*,
                              const AsyncCallCtx*) {
  return 0;
}

u32 RPC_IdlMsgOnewayCall(void*, const void*, const MethodId*, const IdlMsgDesc*) {
  return 0;
}

#pragma GCC visibility pop
