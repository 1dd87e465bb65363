#include "platform/grpc/call.h"

#include <utility>

#include "platform/grpc/callbacks.h"
#include "platform/grpc/channel.h"
#include "platform/grpc/failure.h"
#include "platform/grpc/poller.h"
#include "platform/grpc/reply.h"
#include "platform/grpc/signals.h"

namespace delivery {

Call::Call(Channel& to, const MethodId& method, Clock::time_point latest, const Ending& whose)
    : channel(to),
      deadline(latest),
      ending(whose),
      path_(std::string("/") + method.interfaceName + '/' + method.methodName) {}

std::shared_ptr<Call> Call::make(Channel& channel, const MethodId& method, Clock::time_point latest,
                                 const Ending& end) {
  const auto destroy = [](const Call* call) {
    const SignalsBlocked blocked;
    delete call;
  };
  return {new Call(channel, method, latest, end), destroy};
}

void Call::start(const std::shared_ptr<Call>& call, const grpc::ByteBuffer& request) {
  Call& it = *call;
  it.context_.set_deadline(
      std::chrono::system_clock::now() +
      std::chrono::ceil<std::chrono::microseconds>(it.deadline - Clock::now()));
  it.context_.set_wait_for_ready(it.channel.settings().waitForReady);
  it.context_.AddMetadata("mqc-sequence", std::to_string(it.sequence));
  std::list<std::shared_ptr<Call>> self = {call};
  const SignalsBlocked blocked;
  it.reader_ =
      it.channel.stub().PrepareUnaryCall(&it.context_, it.path_, request, &poller().queue());
  it.keep(self);
  it.reader_->StartCall();
  it.reader_->Finish(&it.reply_, &it.status_, &it);
}

void Call::keep(std::list<std::shared_ptr<Call>>& self) {
  const std::lock_guard lock(mutex_);
  self_.splice(self_.end(), self);
}

std::list<std::shared_ptr<Call>> Call::release() {
  const std::lock_guard lock(mutex_);
  return std::move(self_);
}

bool Call::wait() {
  std::unique_lock lock(mutex_);
  return woken_.wait_until(lock, deadline, [this] { return ended_; });
}

void Call::wake() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  woken_.notify_one();
}

void Call::expire() {
  expired_ = true;
  const SignalsBlocked blocked;
  context_.TryCancel();
}

u32 Call::outcome() const {
  try {
    if (!status_.ok()) {
      // gRPC reports a call that was ended at its deadline as cancelled.
      const bool late = expired_ && status_.error_code() == grpc::StatusCode::CANCELLED;
      const auto code = late ? grpc::StatusCode::DEADLINE_EXCEEDED : status_.error_code();
      return transportFailure(path_.c_str(), code, late ? "" : status_.error_message());
    }
    if (const auto status = statusIn(reply_)) return *status;
    return failure(path_.c_str(), TARN_GRPC_GARBAGE);
  } catch (const std::exception&) {
    return failure(path_.c_str(), TARN_STATUS_NO_RESOURCES);
  }
}

void Call::end() {
  std::list<std::shared_ptr<Call>> kept = release();
  if (ending.isWaitedFor) return wake();
  channel.giveBytesBack(bytes);
  if (ending.callback != nullptr) return callbacks().post(kept);
  channel.givePlaceBack();
  channel.leave(std::move(kept.front()));
}

}  // namespace delivery
