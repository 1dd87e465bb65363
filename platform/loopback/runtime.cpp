// The RPC runtime, a loopback within the process.

#include <new>
#include <utility>

#include "platform/loopback/state.h"
#include "shared/encode.h"
#include "tarn/loopback.h"
#include "tarn/rpc.h"

namespace loopback {
namespace {

u32 deliver(const TarnMessage& message) {
  const TarnStatus captured =
      state().capture.write(message.method.methodName, {message.compact, message.compactSize},
                            {message.full, message.fullSize});
  if (captured != TARN_STATUS_OK) return captured;
  Settings settings;
  {
    const std::lock_guard lock(state().mutex);
    ++state().settings.delivered.at(message.variant);
    settings = state().settings;
  }
  if (settings.receiver == nullptr) return settings.status;
  return settings.receiver(&message, settings.receiverData);
}

std::shared_ptr<Recording> recording() {
  const std::lock_guard lock(state().mutex);
  return state().settings.recording;
}

/// Sends a message, whose end the caller is to record.
u32 send(void* handle, const void* req, u64 reqSize, const MethodId* method, const IdlMsgDesc* desc,
         TarnVariant variant, RecordedCall& recorded) try {
  if (!shared::isComplete(handle, req, method, desc)) return TARN_STATUS_INVALID;
  shared::Encoding compact;
  shared::Encoding full;
  TarnStatus encoded = shared::encodeCompact(method->methodName, *desc, req, compact);
  if (encoded == TARN_STATUS_OK && shared::hasFull(*desc)) {
    encoded = shared::encodeFull(method->methodName, *desc, req, full);
  }
  if (encoded != TARN_STATUS_OK) return encoded;
  void* const opt = *static_cast<void* const*>(handle);
  const TarnMessage message = {*method,         variant,        reqSize,      opt,
                               compact.bytes(), compact.size(), full.bytes(), full.size()};
  recorded = RecordedCall(recording(), message);
  return deliver(message);
} catch (const std::bad_alloc&) {
  return TARN_STATUS_NO_RESOURCES;
}

u32 sendWhole(void* handle, const void* req, u64 reqSize, const MethodId* method,
              const IdlMsgDesc* desc, TarnVariant variant) {
  RecordedCall recorded;
  const u32 status = send(handle, req, reqSize, method, desc, variant, recorded);
  recorded.end(status);
  return status;
}

u32 completionStatus() {
  const std::lock_guard lock(state().mutex);
  return state().settings.completionStatus;
}

/// An asynchronous call; all that its completion needs is allocated before anything is delivered.
u32 sendAndPost(void* handle, const void* req, const MethodId* method, const IdlMsgDesc* desc,
                const AsyncCallCtx& ctx) try {
  std::list<Completions::Completion> completion = {{ctx.cb, ctx.userData, 0, {}}};
  const TarnStatus started = state().completions.start();
  if (started != TARN_STATUS_OK) return started;
  RecordedCall& recorded = completion.front().recorded;
  const u32 status = send(handle, req, ctx.reqSize, method, desc, TARN_VARIANT_ASYNC, recorded);
  if (status != TARN_STATUS_OK) {
    recorded.end(status);
  } else {
    state().completions.post(std::move(completion), completionStatus());
  }
  return status;
} catch (const std::bad_alloc&) {
  return TARN_STATUS_NO_RESOURCES;
}

}  // namespace
}  // namespace loopback

void* RPC_GetRpcInvoke(RpcServerAddr*, void* opt) try {
  loopback::State& state = loopback::state();
  const std::lock_guard lock(state.mutex);
  if (!state.settings.handleAvailable) return nullptr;
  return const_cast<void**>(&*state.options.insert(opt).first);
} catch (const std::bad_alloc&) {
  return nullptr;
}

u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32 reqSize, const MethodId* method,
                             const IdlMsgDesc* desc) {
  return loopback::sendWhole(handle, req, reqSize, method, desc, TARN_VARIANT_SYNC);
}

u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx) {
  if (ctx == nullptr) return TARN_STATUS_INVALID;
  if (ctx->cb != nullptr) return loopback::sendAndPost(handle, req, method, desc, *ctx);
  return loopback::sendWhole(handle, req, ctx->reqSize, method, desc, TARN_VARIANT_ASYNC);
}

u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc) {
  return loopback::sendWhole(handle, req, 0, method, desc, TARN_VARIANT_ONEWAY);
}
