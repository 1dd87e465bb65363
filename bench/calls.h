#ifndef BENCH_CALLS_H
#define BENCH_CALLS_H

// A call through the stubs to a runtime that does nothing, and that runtime's own share.

#include "mqc_fes_intf.h"
#include "platform/rpc.h"

namespace bench {

/// The synchronous stub of one method.
inline u32 callOneStub(const void* record) {
  return MqcFesIntf_sendClassifierTemplate(static_cast<const MQC_ClassifierTemplate*>(record),
                                           nullptr);
}

/// The synchronous stubs of all methods in turn.
inline u32 callAllStubs(const void* record) {
  u32 status = 0;
#define CALL(method, Type) status |= MqcFesIntf_##method(static_cast<const Type*>(record), nullptr);
  MQC_FES_INTF_METHODS(CALL, CALL)
#undef CALL
  return status;
}

/// What one stub calls, called directly.
inline u32 callRuntime(const void* record) {
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, nullptr);
  return RPC_IdlSyncCallNoOutStub(handle, record, 48, nullptr, nullptr);
}

/// What all stubs call, called directly.
inline u32 callRuntimeForAll(const void* record) {
  u32 status = 0;
#define CALL(method, Type) status |= callRuntime(record);
  MQC_FES_INTF_METHODS(CALL, CALL)
#undef CALL
  return status;
}

}  // namespace bench

#endif
