/* A device's platform with statuses of its own: it has no channels, calls back twice, and never for
 * match_any_oper. */
#include "tarn/bounded_memory.h"
#include "tarn/rpc.h"

#include <string.h>

void* RPC_GetRpcInvoke(RpcServerAddr* addr, void* opt) {
  return opt == NULL ? addr : NULL;
}

u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32 reqSize, const MethodId* method,
                             const IdlMsgDesc* desc) {
  if (handle == NULL || req == NULL || reqSize == 0 || desc->pack(NULL, req) == 0) return 1;
  return strcmp(method->methodName, "match_any_oper") == 0 ? 0 : 77;
}

u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx) {
  const u32 status = RPC_IdlSyncCallNoOutStub(handle, req, (u32)ctx->reqSize, method, desc);
  if (status == 0) return 0;
  ctx->cb(status, ctx->userData);
  ctx->cb(0, ctx->userData);
  return 0;
}

u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc) {
  return RPC_IdlSyncCallNoOutStub(handle, req, 1, method, desc) == 77 ? 12 : 0;
}

int memset_s(void* dest, size_t destMax, int c, size_t count) {
  return count <= destMax && memset(dest, c, count) != NULL ? 0 : 1;
}

int memcpy_s(void* dest, size_t destMax, const void* src, size_t count) {
  return count <= destMax && memcpy(dest, src, count) != NULL ? 0 : 1;
}
