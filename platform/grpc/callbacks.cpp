#include "platform/grpc/callbacks.h"

#include "platform/grpc/channel.h"
#include "platform/grpc/start.h"

namespace delivery {
namespace {

constexpr std::chrono::milliseconds exitTime{1'000};

/// The call whose callback the thread is running; none on other threads.
thread_local const std::shared_ptr<Call>* running = nullptr;

bool waitForCalls(Clock::time_point until) {
  const u64 last = lastSequence();
  bool ended = true;
  for (Channel* channel = firstChannel(); channel != nullptr; channel = channel->next) {
    ended = channel->waitForCalls(last, until) && ended;
  }
  return ended;
}

}  // namespace

Callbacks& callbacks() {
  static Callbacks* const only = withThread<Callbacks>();
  return *only;
}

void Callbacks::post(std::list<std::shared_ptr<Call>>& one) noexcept {
  {
    const std::lock_guard lock(mutex_);
    if (!silent_) {
      pending_.splice(pending_.end(), one);
      posted_.notify_one();
    }
  }
  drop(one);
}

void Callbacks::run() {
  for (;;) finish(take());
}

std::shared_ptr<Call> Callbacks::take() {
  std::unique_lock lock(mutex_);
  posted_.wait(lock, [this] { return !pending_.empty(); });
  std::shared_ptr<Call> call = std::move(pending_.front());
  pending_.pop_front();
  return call;
}

void Callbacks::finish(std::shared_ptr<Call> call) {
  const u32 status = call->outcome();
  Channel& channel = call->channel;
  channel.givePlaceBack();  // a callback may call again
  if (mayBegin()) {
    running = &call;
    call->ending.callback(status, call->ending.userData);
    running = nullptr;
  }
  channel.leave(std::move(call));
}

bool Callbacks::mayBegin() {
  const std::lock_guard lock(mutex_);
  return !silent_;
}

u32 Callbacks::drain(Clock::time_point until) {
  if (running != nullptr) return TARN_STATUS_DEADLOCK;
  return waitForCalls(until) ? 0 : u32{TARN_GRPC_BUSY};
}

void Callbacks::atExit() {
  const auto until = Clock::now() + exitTime;
  if (running != nullptr) {
    (*running)->channel.leave(*running);
    silence();
  }
  waitForCalls(until);
  silence();
}

void Callbacks::silence() {
  std::list<std::shared_ptr<Call>> unheard;
  {
    const std::lock_guard lock(mutex_);
    silent_ = true;
    unheard.swap(pending_);
  }
  drop(unheard);
}

void Callbacks::drop(std::list<std::shared_ptr<Call>>& calls) {
  for (std::shared_ptr<Call>& call : calls) {
    Channel& channel = call->channel;
    channel.givePlaceBack();
    channel.leave(std::move(call));
  }
}

}  // namespace delivery
