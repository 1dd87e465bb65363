#include "platform/loopback/completions.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <new>
#include <system_error>
#include <utility>

#include "platform/loopback/state.h"
#include "shared/report.h"

namespace loopback {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds exitTime{1};

}  // namespace

TarnStatus Completions::start() {
  const std::lock_guard lock(mutex_);
  if (worker_ != std::thread::id()) return TARN_STATUS_OK;
  exitIsWatched_ = exitIsWatched_ || std::atexit([] { state().completions.atExit(); }) == 0;
  if (!exitIsWatched_) return TARN_STATUS_NO_RESOURCES;
  try {
    std::thread worker(&Completions::run, this);
    worker_ = worker.get_id();
    worker.detach();  // a callback that hangs, or that calls exit(), must not hang the exit
  } catch (const std::system_error& error) {
    shared::report("no thread for completions: %s", error.what());
    return TARN_STATUS_NO_RESOURCES;
  }
  return TARN_STATUS_OK;
}

void Completions::post(std::list<Completion> one, u32 status,
                       std::chrono::milliseconds delay) noexcept {
  Completion& completion = one.front();
  completion.status = status;
  const std::lock_guard lock(mutex_);
  completion.due = Clock::now() + delay;
  completion.number = ++postedCount_;
  auto place = pending_.end();
  while (place != pending_.begin() && std::prev(place)->due > completion.due) --place;
  pending_.splice(place, one);
  posted_.notify_one();
}

TarnStatus Completions::drain() {
  std::unique_lock lock(mutex_);
  const u64 last = postedCount_;
  if (onWorker() || (closed_ && !haveReturned(last))) return TARN_STATUS_DEADLOCK;
  done_.wait(lock, [&] { return haveReturned(last); });
  return TARN_STATUS_OK;
}

/// Whether all callbacks up to that number have returned. The first that has not is near the front.
bool Completions::haveReturned(u64 last) const {
  const auto isEarlier = [last](const Completion& pending) { return pending.number <= last; };
  return (running_ == 0 || running_ > last) &&
         std::none_of(pending_.begin(), pending_.end(), isEarlier);
}

void Completions::startAfresh() {
  // The parent's waiting threads do not exist in the child.
  new (&posted_) std::condition_variable;
  new (&done_) std::condition_variable;
  pending_.clear();
  if (onWorker()) return;  // in the callback that forked
  running_ = 0;
  worker_ = {};
}

void Completions::run() {
  for (;;) {
    runFirst();
    const std::lock_guard lock(mutex_);
    running_ = 0;
    done_.notify_all();
  }
}

/// Leaves nothing of it: whoever waited may close its recording.
void Completions::runFirst() {
  const Completion completion = take();
  completion.recorded.end(completion.status);
  completion.callback(completion.status, completion.userData);
}

Completions::Completion Completions::take() {
  std::unique_lock lock(mutex_);
  awaitFirst(lock);
  Completion completion = std::move(pending_.front());
  pending_.pop_front();
  running_ = completion.number;
  return completion;
}

void Completions::awaitFirst(std::unique_lock<std::mutex>& lock) {
  for (;;) {
    posted_.wait(lock, [this] { return !closed_ && !pending_.empty(); });
    const Clock::time_point due = pending_.front().due;
    if (due <= Clock::now()) return;
    posted_.wait_until(lock, due);
  }
}

void Completions::atExit() {
  std::unique_lock lock(mutex_);
  const u64 last = postedCount_;
  if (!onWorker()) done_.wait_for(lock, exitTime, [&] { return haveReturned(last); });
  closed_ = true;
}

}  // namespace loopback
