#include "platform/grpc/call.h"

#include <utility>

#include "platform/grpc/channel.h"
#include "platform/grpc/failure.h"

namespace delivery {

Result failed(u32 status, std::string_view reason) noexcept {
  try {
    return {status, false, std::string(reason)};
  } catch (const std::exception&) {
    return {status, false, {}};
  }
}

Call::Call(std::shared_ptr<Channel> to, const MethodId& method, Clock::time_point when,
           const Ending& whose, u32 size)
    : channel(std::move(to)),
      path(std::string("/") + method.interfaceName + '/' + method.methodName),
      begin(when),
      deadline(when + channel->settings().deadline),
      ending(whose),
      bytes(size) {}

bool Call::wait() {
  std::unique_lock lock(mutex_);
  return woken_.wait_until(lock, deadline, [this] { return ended_; });
}

void Call::finish(Result&& result) {
  const std::lock_guard lock(mutex_);
  if (ended_) return;
  channel->stats().end(result, Clock::now() - begin);
  result_ = std::move(result);
  ended_ = true;
  woken_.notify_one();
}

u32 Call::outcome() const {
  if (result_.isAnswer) return result_.status;
  return failure(path.c_str(), result_.status, result_.reason);
}

void CallList::add(std::shared_ptr<Call> call) noexcept {
  Call* const added = call.get();
  (isEmpty() ? first_ : last_->next_) = std::move(call);
  last_ = added;
}

void CallList::append(CallList&& other) noexcept {
  if (other.isEmpty()) return;
  (isEmpty() ? first_ : last_->next_) = std::move(other.first_);
  last_ = other.last_;
}

std::shared_ptr<Call> CallList::take() noexcept {
  std::shared_ptr<Call> call = std::move(first_);
  first_ = std::move(call->next_);
  return call;
}

}  // namespace delivery
