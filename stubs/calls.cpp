#include "stubs/calls.h"

#include "tarn/rpc.h"

#define INTERFACE_NAME "MqcFesIntf"

RpcServerAddr g_stServerAddr_MqcFesIntf = {{}, INTERFACE_NAME};

namespace stubs {
namespace {

#define METHOD_ID(method, Type) {INTERFACE_NAME, #method},
constexpr MethodId methodIds[] = {MQC_FES_INTF_METHODS(METHOD_ID, METHOD_ID)};
#undef METHOD_ID

#define REQUEST_SIZE(method, Type) sizeof(Type),
constexpr u32 requestSizes[] = {MQC_FES_INTF_METHODS(REQUEST_SIZE, REQUEST_SIZE)};
#undef REQUEST_SIZE

}  // namespace

u32 call(const void* req, void* opt, Row row, FillDesc fill) {
  const MethodId method = methodIds[static_cast<u32>(row)];
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, opt);
  IdlMsgDesc desc;
  fill(&desc);
  return RPC_IdlSyncCallNoOutStub(handle, req, requestSizes[static_cast<u32>(row)], &method, &desc);
}

u32 callAsync(const void* req, RpcAsyncCallback cb, void* userData, void* opt, Row row,
              FillDesc fill) {
  const AsyncCallCtx ctx = {requestSizes[static_cast<u32>(row)], cb, userData};
  const MethodId method = methodIds[static_cast<u32>(row)];
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, opt);
  IdlMsgDesc desc;
  fill(&desc);
  return RPC_IdlAsyncCallNoOutStub(handle, req, &method, &desc, &ctx);
}

u32 callOneway(const void* req, void* opt, Row row, FillDesc fill) {
  const MethodId method = methodIds[static_cast<u32>(row)];
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, opt);
  IdlMsgDesc desc;
  fill(&desc);
  if (req == nullptr || handle == nullptr) return MQC_STATUS_INVALID;
  return RPC_IdlMsgOnewayCall(handle, req, &method, &desc);
}

}  // namespace stubs
