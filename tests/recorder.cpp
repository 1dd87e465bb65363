#include "recorder.h"

#include <cstring>

#include "tarn/bounded_memory.h"

namespace recorder {

Platform platform;

static std::string nameOf(const MethodId& method) {
  return std::string(method.interfaceName) + '.' + method.methodName;
}

}  // namespace recorder

using recorder::nameOf;
using recorder::platform;

extern "C" {

void* RPC_GetRpcInvoke(RpcServerAddr* addr, void* opt) {
  platform.addresses.push_back(addr);
  platform.options.push_back(opt);
  return platform.handle;
}

u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32 reqSize, const MethodId* method,
                             const IdlMsgDesc* desc) {
  platform.sent.push_back({"sync", handle, req, reqSize, nameOf(*method), *desc, nullptr, nullptr});
  return platform.status;
}

u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx) {
  platform.sent.push_back(
      {"async", handle, req, ctx->reqSize, nameOf(*method), *desc, ctx->cb, ctx->userData});
  return platform.status;
}

u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc) {
  platform.sent.push_back({"oneway", handle, req, 0, nameOf(*method), *desc, nullptr, nullptr});
  return platform.status;
}

int memset_s(void* dest, size_t max, int value, size_t count) {
  platform.cleared.push_back({dest, max, value, count});
  std::memset(dest, value, count);
  return 0;
}

int memcpy_s(void* dest, size_t max, const void* src, size_t count) {
  platform.copied.push_back({dest, max, 0, count});
  std::memcpy(dest, src, count);
  return 0;
}
}
