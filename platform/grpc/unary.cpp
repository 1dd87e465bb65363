#include "platform/grpc/unary.h"

#include <utility>

#include "platform/grpc/callbacks.h"
#include "platform/grpc/channel.h"
#include "platform/grpc/envelope.h"
#include "platform/grpc/failure.h"
#include "platform/grpc/poller.h"
#include "platform/grpc/reply.h"
#include "platform/grpc/signals.h"

namespace delivery {
namespace {

/// gRPC takes the encoder's bytes themselves.
grpc::ByteBuffer bufferOf(Message&& message) {
  const auto free = [](void* bytes) { delete[] static_cast<u8*>(bytes); };
  const grpc::Slice slice(message.bytes.get(), message.size, free);
  static_cast<void>(message.bytes.release());  // the slice owns them
  return grpc::ByteBuffer(&slice, 1);
}

/// A call without the name of its variant is synchronous.
void addVariant(const Ending& ending, grpc::ClientContext& context) {
  const mqc::MqcVariant variant = variantOf(ending);
  if (variant == mqc::MqcVariant_Sync) return;
  context.AddMetadata("mqc-variant", variant == mqc::MqcVariant_Async ? "async" : "oneway");
}

}  // namespace

UnaryCall::UnaryCall(std::shared_ptr<Channel> to, const MethodId& method, Clock::time_point when,
                     const Ending& whose, Message&& message)
    : Call(std::move(to), method, when, whose, message.size),
      request_(bufferOf(std::move(message))) {}

std::shared_ptr<UnaryCall> UnaryCall::make(std::shared_ptr<Channel> to, const MethodId& method,
                                           Clock::time_point when, const Ending& whose,
                                           Message&& message) {
  const auto destroy = [](const UnaryCall* call) {
    const SignalsBlocked blocked;
    delete call;
  };
  return {new UnaryCall(std::move(to), method, when, whose, std::move(message)), destroy};
}

u32 UnaryCall::send(const std::shared_ptr<UnaryCall>& call) {
  Channel& channel = *call->channel;
  if (const u32 refused = channel.enter(call)) return refused;
  try {
    call->start(call);
  } catch (...) {
    channel.withdraw(call);
    throw;
  }
  return TARN_STATUS_OK;
}

void UnaryCall::start(const std::shared_ptr<Call>& self) {
  context_.set_deadline(std::chrono::system_clock::now() +
                        std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::now()));
  context_.set_wait_for_ready(channel->settings().waitForReady);
  context_.AddMetadata("mqc-sequence", std::to_string(sequence));
  addVariant(ending, context_);
  const SignalsBlocked blocked;
  reader_ = channel->stub().PrepareUnaryCall(&context_, path, request_, &poller().queue());
  request_.Clear();
  self_ = self;
  reader_->StartCall();
  reader_->Finish(&reply_, &status_, tag());
}

void UnaryCall::stop(grpc::StatusCode why) {
  stopped_ = why;
  if (ending.isWaitedFor) finish(failed(TARN_GRPC_TRANSPORT + static_cast<u32>(why)));
  const SignalsBlocked blocked;
  context_.TryCancel();
}

Result UnaryCall::result() const {
  if (status_.ok()) {
    const auto status = statusIn(reply_);
    return status ? Result{*status, true, {}} : failed(TARN_GRPC_GARBAGE);
  }
  // gRPC reports a call that was stopped as cancelled.
  const grpc::StatusCode stopped = stopped_;
  const bool isStopped = stopped != grpc::OK && status_.error_code() == grpc::CANCELLED;
  const grpc::StatusCode code = isStopped ? stopped : status_.error_code();
  return failed(TARN_GRPC_TRANSPORT + static_cast<u32>(code),
                isStopped ? "" : status_.error_message());
}

void UnaryCall::happened(bool) {
  std::shared_ptr<Call> self = std::move(self_);
  try {
    finish(result());
  } catch (const std::exception&) {
    finish(failed(TARN_STATUS_NO_RESOURCES));
  }
  CallList called;
  const std::shared_ptr<Channel> last = channel;  // the call may be what holds it
  last->ended(std::move(self), called);
  callbacks().post(std::move(called));
}

}  // namespace delivery
