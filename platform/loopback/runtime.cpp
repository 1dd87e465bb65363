// The RPC runtime, a loopback within the process.

#include <chrono>
#include <new>
#include <optional>
#include <thread>
#include <utility>

#include "platform/loopback/state.h"
#include "shared/encode.h"
#include "tarn/loopback.h"
#include "tarn/rpc.h"

namespace loopback {
namespace {

void count(TarnVariant variant) {
  const std::lock_guard lock(state().mutex);
  ++state().settings.delivered.at(variant);
}

/// What becomes of a call.
struct Outcome {
  u32 status;
  bool isRuled = false;  ///< by a rule
  std::chrono::milliseconds delay{0};
};

Outcome deliver(const TarnMessage& message, const Settings& settings) {
  if (settings.rules != nullptr && !settings.rules->areUsable()) return {TARN_STATUS_SCRIPT};
  const TarnStatus captured =
      state().capture.write(message.method.methodName, {message.compact, message.compactSize},
                            {message.full, message.fullSize});
  if (captured != TARN_STATUS_OK) return {captured};
  std::optional<Ruling> ruling;
  if (settings.rules != nullptr) ruling = settings.rules->take(message);
  count(message.variant);
  const u32 status = settings.receiver != nullptr
                         ? settings.receiver(&message, settings.receiverData)
                         : settings.status;
  if (ruling) return {ruling->status, true, ruling->delay};
  return {status};
}

Settings settingsNow() {
  const std::lock_guard lock(state().mutex);
  return state().settings;
}

/// Sends a message, whose end the caller is to record.
Outcome send(void* handle, const void* req, u64 reqSize, const MethodId* method,
             const IdlMsgDesc* desc, TarnVariant variant, RecordedCall& recorded) try {
  if (!shared::isComplete(handle, req, method, desc)) return {TARN_STATUS_INVALID};
  shared::Encoding compact;
  shared::Encoding full;
  TarnStatus encoded = shared::encodeCompact(method->methodName, *desc, req, compact);
  if (encoded == TARN_STATUS_OK && shared::hasFull(*desc)) {
    encoded = shared::encodeFull(method->methodName, *desc, req, full);
  }
  if (encoded != TARN_STATUS_OK) return {encoded};
  void* const opt = *static_cast<void* const*>(handle);
  const TarnMessage message = {*method,         variant,        reqSize,      opt,
                               compact.bytes(), compact.size(), full.bytes(), full.size()};
  const Settings settings = settingsNow();
  recorded = RecordedCall(settings.recording, message);
  return deliver(message, settings);
} catch (const std::bad_alloc&) {
  return {TARN_STATUS_NO_RESOURCES};
}

/// The status that the caller gets at once, or after the time that a rule has it wait.
u32 returned(const Outcome& outcome, TarnVariant variant) {
  if (!outcome.isRuled) return outcome.status;
  if (variant != TARN_VARIANT_SYNC) return TARN_STATUS_OK;
  std::this_thread::sleep_for(outcome.delay);
  return outcome.status;
}

u32 sendWhole(void* handle, const void* req, u64 reqSize, const MethodId* method,
              const IdlMsgDesc* desc, TarnVariant variant) {
  RecordedCall recorded;
  const u32 status = returned(send(handle, req, reqSize, method, desc, variant, recorded), variant);
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
  std::list<Completions::Completion> completion = {{ctx.cb, ctx.userData, 0, {}, {}, 0}};
  const TarnStatus started = state().completions.start();
  if (started != TARN_STATUS_OK) return started;
  RecordedCall& recorded = completion.front().recorded;
  const Outcome outcome =
      send(handle, req, ctx.reqSize, method, desc, TARN_VARIANT_ASYNC, recorded);
  const u32 status = returned(outcome, TARN_VARIANT_ASYNC);
  if (status != TARN_STATUS_OK) {
    recorded.end(status);
  } else {
    const u32 completed = outcome.isRuled ? outcome.status : completionStatus();
    state().completions.post(std::move(completion), completed, outcome.delay);
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
