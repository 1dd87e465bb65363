// The platform's four RPC functions: each records the call and hands it on to the platform.

#include <bit>
#include <cstring>

#include "record/message.h"
#include "record/platform.h"
#include "record/settings.h"
#include "tarn/rpc.h"
#include "tarn/status.h"

namespace record {
namespace {

using shared::CallVariant;

#define NEXT(function) constinit Next<decltype(&function)> next##function(#function);
NEXT(RPC_GetRpcInvoke)
NEXT(RPC_IdlSyncCallNoOutStub)
NEXT(RPC_IdlAsyncCallNoOutStub)
NEXT(RPC_IdlMsgOnewayCall)
#undef NEXT

/// A first call that looked them up would wait for whichever library another thread loads
/// meanwhile, even if that one waits for the call.
[[gnu::constructor]] void lookUp() {
  nextRPC_GetRpcInvoke.start();
  nextRPC_IdlSyncCallNoOutStub.start();
  nextRPC_IdlAsyncCallNoOutStub.start();
  nextRPC_IdlMsgOnewayCall.start();
}

/// Other libraries send the messages of other interfaces through the same platform.
bool isRecorded(const MethodId* method) {
  if (!state.isOn.load(std::memory_order_acquire) || method == nullptr) return false;
  if (method->interfaceName == nullptr || method->methodName == nullptr) return false;
  return std::strcmp(method->interfaceName, "MqcFesIntf") == 0;
}

u64 recordRequest(CallVariant variant, const MethodId& method, const IdlMsgDesc* desc,
                  const void* req) {
  const Message message(desc, req, state.recording.longest());
  return state.recording.request(variant, method.methodName, message.bytes(), message.size());
}

/// Takes the place of the caller's callback.
void onEnd(u32 status, void* data) {
  const Pending call = state.pending.end(std::bit_cast<u64>(data));
  if (call.callback == nullptr) return;
  state.recording.end(call.sequence, call.methodName(), status);
  call.callback(status, call.userData);
}

template <class Send>
u32 sendAsync(const MethodId& method, const IdlMsgDesc* desc, const void* req,
              const AsyncCallCtx& ctx, Send send) {
  Pending* const call = state.pending.add(method.methodName, ctx);
  if (call == nullptr) return state.recording.miss(), send(ctx);
  const u64 id = call->id;
  const u64 sequence = call->sequence = recordRequest(CallVariant::async, method, desc, req);
  const u32 status = send({ctx.reqSize, onEnd, std::bit_cast<void*>(id)});
  if (status != 0 && state.pending.refuse(id)) {
    state.recording.end(sequence, method.methodName, status);
  }
  return status;
}

/// A call that has ended when the platform returns.
template <class Send>
u32 sendAndWait(CallVariant variant, const MethodId& method, const IdlMsgDesc* desc,
                const void* req, Send send) {
  const u64 sequence = recordRequest(variant, method, desc, req);
  const u32 status = send();
  state.recording.end(sequence, method.methodName, status);
  return status;
}

}  // namespace
}  // namespace record

using namespace record;

#pragma GCC visibility push(default)

void* RPC_GetRpcInvoke(RpcServerAddr* addr, void* opt) {
  const auto next = nextRPC_GetRpcInvoke.get();
  return next != nullptr ? next(addr, opt) : nullptr;
}

u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32 reqSize, const MethodId* method,
                             const IdlMsgDesc* desc) {
  const auto next = nextRPC_IdlSyncCallNoOutStub.get();
  if (next == nullptr) return TARN_STATUS_INVALID;
  if (!isRecorded(method)) return next(handle, req, reqSize, method, desc);
  return sendAndWait(CallVariant::sync, *method, desc, req,
                     [=] { return next(handle, req, reqSize, method, desc); });
}

u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx) {
  const auto next = nextRPC_IdlAsyncCallNoOutStub.get();
  if (next == nullptr) return TARN_STATUS_INVALID;
  if (!isRecorded(method)) return next(handle, req, method, desc, ctx);
  if (ctx == nullptr || ctx->cb == nullptr) {  // whose answer nobody learns
    return sendAndWait(CallVariant::async, *method, desc, req,
                       [=] { return next(handle, req, method, desc, ctx); });
  }
  return sendAsync(*method, desc, req, *ctx, [=](const AsyncCallCtx& wrapped) {
    return next(handle, req, method, desc, &wrapped);
  });
}

u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc) {
  const auto next = nextRPC_IdlMsgOnewayCall.get();
  if (next == nullptr) return TARN_STATUS_INVALID;
  if (!isRecorded(method)) return next(handle, req, method, desc);
  return sendAndWait(CallVariant::oneway, *method, desc, req,
                     [=] { return next(handle, req, method, desc); });
}

#pragma GCC visibility pop
