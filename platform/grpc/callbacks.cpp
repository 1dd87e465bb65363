#include "platform/grpc/callbacks.h"

#include "platform/grpc/channels.h"
#include "platform/grpc/start.h"
#include "platform/grpc/stats_file.h"

namespace delivery {
namespace {

/// The call whose callback the thread is running; none on other threads.
thread_local const std::shared_ptr<Call>* running = nullptr;
/// Whether it is running any function of the program's.
thread_local bool isInside = false;

bool waitForCalls(Clock::time_point until) {
  const u64 last = lastSequence();
  bool ended = true;
  for (u64 number = 0; const auto channel = channelAfter(number);) {
    ended = channel->waitForCalls(last, until) && ended;
  }
  return ended;
}

}  // namespace

Callbacks& callbacks() {
  static Callbacks* const only = withThread<Callbacks>();
  return *only;
}

void Callbacks::post(CallList&& calls) noexcept {
  if (calls.isEmpty()) return;
  {
    const std::lock_guard lock(mutex_);
    if (!silent_) {
      pending_.append(std::move(calls));
      posted_.notify_one();
      return;
    }
  }
  while (!calls.isEmpty()) drop(calls.take());
}

void Callbacks::post(std::list<std::shared_ptr<States>>& one) noexcept {
  const std::lock_guard lock(mutex_);
  news_.splice(news_.end(), one);
  posted_.notify_one();
}

void Callbacks::run() {
  for (;;) {
    turn();
    statsFile().update();
  }
}

void Callbacks::turn() {
  std::list<std::shared_ptr<States>> news;
  std::unique_lock lock(mutex_);
  const auto isPosted = [this] { return !pending_.isEmpty() || !news_.empty(); };
  if (!posted_.wait_until(lock, statsFile().due(), isPosted)) return;
  if (news_.empty()) {
    std::shared_ptr<Call> call = pending_.take();
    lock.unlock();
    return finish(std::move(call));
  }
  news.splice(news.end(), news_, news_.begin());
  const bool mayTell = !silent_;
  lock.unlock();
  isInside = true;
  const auto states = news.front();
  states->run(news, mayTell);
  isInside = false;
}

void Callbacks::finish(std::shared_ptr<Call> call) {
  const u32 status = call->outcome();
  const std::shared_ptr<Channel> channel = call->channel;
  channel->givePlaceBack();  // a callback may call again
  if (mayBegin()) {
    running = &call;
    isInside = true;
    call->ending.callback(status, call->ending.userData);
    isInside = false;
    running = nullptr;
  }
  channel->leave(std::move(call));
}

bool Callbacks::mayBegin() {
  const std::lock_guard lock(mutex_);
  return !silent_;
}

bool Callbacks::isRunning() {
  return isInside;
}

u32 Callbacks::drain(Clock::time_point until) {
  if (isRunning()) return TARN_STATUS_DEADLOCK;
  return waitForCalls(until) ? 0 : u32{TARN_GRPC_BUSY};
}

void Callbacks::atExit() {
  const auto until = Clock::now() + lastTime;
  if (running != nullptr) (*running)->channel->leave(*running);
  if (isInside) silence();
  waitForCalls(until);
  silence();
}

void Callbacks::silence() {
  CallList unheard;
  {
    const std::lock_guard lock(mutex_);
    silent_ = true;
    unheard.append(std::move(pending_));
  }
  while (!unheard.isEmpty()) drop(unheard.take());
}

void Callbacks::drop(std::shared_ptr<Call> call) {
  const std::shared_ptr<Channel> channel = call->channel;
  channel->givePlaceBack();
  channel->leave(std::move(call));
}

}  // namespace delivery
