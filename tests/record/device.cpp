#include "device.h"

#include <cstring>
#include <mutex>

#include "tarn/bounded_memory.h"
#include "tarn/rpc.h"

namespace {

Device device;
std::mutex mutex;

u32 keep(const Device::Call& call) {
  const std::lock_guard lock(mutex);
  device.calls.push_back(call);
  return device.status;
}

}  // namespace

#pragma GCC visibility push(default)

Device* theDevice() {
  return &device;
}

void* RPC_GetRpcInvoke(RpcServerAddr* addr, void* opt) {
  return opt != nullptr ? opt : addr;
}

u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32 reqSize, const MethodId* method,
                             const IdlMsgDesc* desc) {
  return keep({handle, req, reqSize, method, desc});
}

u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx) {
  const u32 status = keep({handle, req, ctx->reqSize, method, desc});
  if (device.answer != 0) ctx->cb(device.answer, ctx->userData);
  const std::lock_guard lock(mutex);
  device.contexts.push_back(*ctx);
  return status;
}

u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc) {
  return keep({handle, req, 0, method, desc});
}

int memset_s(void* dest, size_t, int value, size_t count) {
  return std::memset(dest, value, count) == nullptr;
}

int memcpy_s(void* dest, size_t, const void* src, size_t count) {
  return std::memcpy(dest, src, count) == nullptr;
}

#pragma GCC visibility pop
