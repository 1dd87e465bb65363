// The RPC runtime: sends every call to a service over gRPC. Lets no exception out.

#include <new>

#include "platform/common/encode.h"
#include "platform/grpc/callbacks.h"
#include "platform/grpc/channel.h"
#include "platform/grpc/failure.h"
#include "platform/grpc/start.h"
#include "tarn/rpc.h"

namespace delivery {
namespace {

/// The encoding that the channel sends. gRPC takes the encoder's bytes themselves.
u32 encodeFor(const Channel& channel, const MethodId& method, const IdlMsgDesc& desc,
              const void* req, grpc::ByteBuffer& request) {
  const bool full = channel.settings().full && platform::hasFull(desc);
  platform::Encoding encoding;
  const TarnStatus status = (full ? platform::encodeFull : platform::encodeCompact)(
      method.methodName, desc, req, encoding);
  if (status != TARN_STATUS_OK) return failure(method.methodName, status);
  const u32 size = encoding.size();
  const auto free = [](void* bytes) { delete[] static_cast<u8*>(bytes); };
  const grpc::Slice slice(encoding.bytes(), size, free);
  static_cast<void>(encoding.take().release());  // the slice owns them
  request = grpc::ByteBuffer(&slice, 1);
  return TARN_STATUS_OK;
}

/// A call to be sent: the channel, the method, the deadline.
struct Sending {
  Channel& channel;
  const MethodId& method;
  Clock::time_point deadline;
};

u32 late(const MethodId& method) {
  return transportFailure(method.methodName, grpc::StatusCode::DEADLINE_EXCEEDED);
}

u32 callAndWait(const Sending& sending, const grpc::ByteBuffer& request) {
  const auto call = Call::make(sending.channel, sending.method, sending.deadline, {true, {}, {}});
  call->sequence = nextSequence();
  Call::start(call, request);
  if (call->wait()) return call->outcome();
  call->expire();
  return late(sending.method);
}

u32 handOver(const Sending& sending, const grpc::ByteBuffer& request, RpcAsyncCallback callback,
             void* userData) {
  const auto call =
      Call::make(sending.channel, sending.method, sending.deadline, {false, callback, userData});
  call->bytes = request.Length();
  if (!sending.channel.enter(call)) return failure(sending.method.methodName, TARN_GRPC_BUSY);
  try {
    Call::start(call, request);
  } catch (const std::exception&) {
    sending.channel.giveBytesBack(call->bytes);
    sending.channel.givePlaceBack();
    sending.channel.leave(call);
    throw;
  }
  return TARN_STATUS_OK;
}

/// Tests the arguments, encodes, and passes the request to send.
template <class Send>
u32 callWith(void* handle, const void* req, const MethodId* method, const IdlMsgDesc* desc,
             Send send) noexcept {
  const Clock::time_point begin = Clock::now();
  const char* const name =
      method != nullptr && method->methodName != nullptr ? method->methodName : "a call";
  if (isForked()) return failure(name, TARN_GRPC_FORKED);
  if (handle == nullptr) return TARN_STATUS_INVALID;  // the reason has been reported
  try {
    if (!platform::isComplete(handle, req, method, desc)) return failure(name, TARN_STATUS_INVALID);
    Channel& channel = *static_cast<Channel*>(handle);
    const Sending sending = {channel, *method, begin + channel.settings().deadline};
    grpc::ByteBuffer request;
    const u32 status = encodeFor(channel, *method, *desc, req, request);
    if (status != TARN_STATUS_OK) return status;
    return Clock::now() < sending.deadline ? send(sending, request) : late(*method);
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
    if (opt != nullptr) return delivery::openedChannel(opt);
    if (addr == nullptr) throw delivery::SetupError("no server address");
    return delivery::defaultChannel();
  });
}

u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32, const MethodId* method,
                             const IdlMsgDesc* desc) {
  return delivery::callWith(handle, req, method, desc, delivery::callAndWait);
}

u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx) {
  const void* const whole = ctx != nullptr ? req : nullptr;
  return delivery::callWith(handle, whole, method, desc, [&](auto& sending, auto& request) {
    return delivery::handOver(sending, request, ctx->cb, ctx->userData);
  });
}

u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc) {
  return delivery::callWith(handle, req, method, desc, [&](auto& sending, auto& request) {
    return delivery::handOver(sending, request, nullptr, nullptr);
  });
}

void* TarnGrpc_open(const TarnGrpcOptions* options) {
  return delivery::madeBy([&]() -> void* {
    if (delivery::isForked()) throw delivery::SetupError(TarnGrpc_statusText(TARN_GRPC_FORKED));
    if (options == nullptr) throw delivery::SetupError("no options");
    return delivery::openChannel(*options);
  });
}

u32 TarnGrpc_drain(u32 ms) {
  if (delivery::isForked()) return TARN_GRPC_FORKED;
  if (delivery::firstChannel() == nullptr) return TARN_STATUS_OK;
  return delivery::callbacks().drain(delivery::Clock::now() + std::chrono::milliseconds(ms));
}

const char* TarnGrpc_lastError(void) {
  return delivery::lastFailure();
}
