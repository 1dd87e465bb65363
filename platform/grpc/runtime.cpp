// The RPC runtime: sends every call to a service over gRPC. Lets no exception out.

#include <new>

#include "platform/grpc/callbacks.h"
#include "platform/grpc/channels.h"
#include "platform/grpc/envelope.h"
#include "platform/grpc/failure.h"
#include "platform/grpc/start.h"
#include "platform/grpc/unary.h"
#include "shared/encode.h"
#include "tarn/rpc.h"

namespace delivery {
namespace {

/// The encoding that the channel sends.
u32 encodeFor(const Channel& channel, const MethodId& method, const IdlMsgDesc& desc,
              const void* req, Message& message) {
  const bool full = channel.settings().full && shared::hasFull(desc);
  shared::Encoding encoding;
  const TarnStatus status =
      (full ? shared::encodeFull : shared::encodeCompact)(method.methodName, desc, req, encoding);
  if (status != TARN_STATUS_OK) return failure(method.methodName, status);
  message.size = encoding.size();
  message.bytes = encoding.take();
  return TARN_STATUS_OK;
}

/// A call to be sent: the channel, the method, when it began.
struct Sending {
  std::shared_ptr<Channel> channel;
  const MethodId& method;
  Clock::time_point begin;
};

/// Sends it, and waits for its end if it is waited for.
template <class Kind>
u32 sendAs(const Sending& sending, Message&& message, const Ending& ending) {
  const auto call =
      Kind::make(sending.channel, sending.method, sending.begin, ending, std::move(message));
  const u32 status = Kind::send(call);
  if (status != TARN_STATUS_OK) return failure(sending.method.methodName, status);
  if (!ending.isWaitedFor) return TARN_STATUS_OK;
  if (!call->wait()) call->stop(grpc::DEADLINE_EXCEEDED);
  return call->outcome();
}

/// Tests the arguments, encodes, and sends.
u32 callWith(void* handle, const void* req, const MethodId* method, const IdlMsgDesc* desc,
             const Ending& ending) noexcept {
  const Clock::time_point begin = Clock::now();
  const char* const name =
      method != nullptr && method->methodName != nullptr ? method->methodName : "a call";
  if (isForked()) return failure(name, TARN_GRPC_FORKED);
  if (handle == nullptr) return TARN_STATUS_INVALID;  // the reason has been reported
  try {
    const auto channel = channelOf(handle);
    if (!shared::isComplete(channel.get(), req, method, desc)) {
      return failure(name, TARN_STATUS_INVALID);
    }
    Message message;
    const u32 status = encodeFor(*channel, *method, *desc, req, message);
    if (status != TARN_STATUS_OK) return status;
    const Settings& settings = channel->settings();
    const u32 kind = settings.stream ? TARN_GRPC_NOT_SENT : TARN_GRPC_TRANSPORT;
    if (Clock::now() >= begin + settings.deadline) {
      return failure(name, kind + u32{grpc::DEADLINE_EXCEEDED});
    }
    // It would end the stream, and the calls of others.
    if (settings.stream && message.size > longestMessage) {
      return failure(name, kind + u32{grpc::RESOURCE_EXHAUSTED});
    }
    const auto send = settings.stream ? sendAs<StreamCall> : sendAs<UnaryCall>;
    return send({channel, *method, begin}, std::move(message), ending);
  } catch (const std::exception&) {
    return failure(name, TARN_STATUS_NO_RESOURCES);
  }
}

/// Returns make's result; NULL, with a line on stderr, if it throws.
template <class Make>
void* madeBy(Make make) noexcept {
  try {
    return make();
  } catch (const std::exception& error) {
    setupFailure(error.what());
    return nullptr;
  }
}

}  // namespace
}  // namespace delivery

void* RPC_GetRpcInvoke(RpcServerAddr* addr, void* opt) {
  // First of all: another thread may have held a lock when the process was forked. Any handle does.
  if (delivery::isForked()) return addr;
  return delivery::madeBy([&]() -> void* {
    if (opt != nullptr) return delivery::checkedHandle(opt);
    if (addr == nullptr) throw delivery::SetupError("no server address");
    return delivery::defaultHandle();
  });
}

u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32, const MethodId* method,
                             const IdlMsgDesc* desc) {
  return delivery::callWith(handle, req, method, desc, {true, nullptr, nullptr});
}

u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx) {
  if (ctx == nullptr) return delivery::callWith(handle, nullptr, method, desc, {});
  return delivery::callWith(handle, req, method, desc, {false, ctx->cb, ctx->userData});
}

u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc) {
  return delivery::callWith(handle, req, method, desc, {false, nullptr, nullptr});
}

void* TarnGrpc_open(const TarnGrpcOptions* options) {
  return delivery::madeBy([&]() -> void* {
    if (delivery::isForked()) throw delivery::SetupError(TarnGrpc_statusText(TARN_GRPC_FORKED));
    if (options == nullptr) throw delivery::SetupError("no options");
    return delivery::openHandle(*options);
  });
}

u32 TarnGrpc_close(void* channel) {
  if (delivery::isForked()) return TARN_GRPC_FORKED;
  if (delivery::Callbacks::isRunning()) return TARN_STATUS_DEADLOCK;
  void* const handle = delivery::presentHandle(channel);
  const auto closed = delivery::withdrawChannel(handle);
  if (closed == nullptr) return TARN_STATUS_INVALID;
  const bool isQuiet = closed->close(delivery::lastTime);
  delivery::forgetChannel(handle);
  return isQuiet ? u32{TARN_STATUS_OK} : u32{TARN_GRPC_BUSY};
}

u32 TarnGrpc_onState(void* channel, TarnGrpcStateCallback callback, void* data) {
  if (delivery::isForked()) return TARN_GRPC_FORKED;
  void* const handle =
      delivery::madeBy([&]() -> void* { return delivery::checkedHandle(channel); });
  const auto watched = delivery::channelOf(handle);
  if (watched == nullptr || !watched->watch(callback, data)) return TARN_STATUS_INVALID;
  return TARN_STATUS_OK;
}

u32 TarnGrpc_stats(void* channel, TarnGrpcStats* stats) {
  if (delivery::isForked()) return TARN_GRPC_FORKED;
  const auto counting = delivery::channelOf(delivery::presentHandle(channel));
  if (counting == nullptr) return TARN_STATUS_INVALID;
  TarnGrpcStats counts{};
  counting->stats().addTo(counts);
  return delivery::fill(stats, counts) ? u32{TARN_STATUS_OK} : u32{TARN_STATUS_INVALID};
}

u32 TarnGrpc_drain(u32 ms) {
  if (delivery::isForked()) return TARN_GRPC_FORKED;
  u64 none = 0;
  if (delivery::channelAfter(none) == nullptr) return TARN_STATUS_OK;
  return delivery::callbacks().drain(delivery::Clock::now() + std::chrono::milliseconds(ms));
}

const char* TarnGrpc_lastError(void) {
  return delivery::lastFailure();
}
