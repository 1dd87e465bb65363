#include "platform/loopback/completions.h"

#include <chrono>
#include <cstdlib>
#include <new>
#include <system_error>
#include <utility>

#include "platform/loopback/state.h"
#include "shared/report.h"

namespace loopback {
namespace {

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

void Completions::post(std::list<Completion> one, u32 status) noexcept {
  one.front().status = status;
  const std::lock_guard lock(mutex_);
  pending_.splice(pending_.end(), one);
  ++postedCount_;
  posted_.notify_one();
}

TarnStatus Completions::drain() {
  std::unique_lock lock(mutex_);
  const u64 target = postedCount_;
  if (onWorker() || (closed_ && doneCount_ < target)) return TARN_STATUS_DEADLOCK;
  done_.wait(lock, [&] { return doneCount_ >= target; });
  return TARN_STATUS_OK;
}

void Completions::startAfresh() {
  // The parent's waiting threads do not exist in the child.
  new (&posted_) std::condition_variable;
  new (&done_) std::condition_variable;
  pending_.clear();
  if (onWorker()) {
    doneCount_ = postedCount_ - 1;  // the callback that forked
  } else {
    doneCount_ = postedCount_;
    worker_ = {};
  }
}

void Completions::run() {
  for (;;) {
    const Completion completion = take();
    completion.recorded.end(completion.status);
    completion.callback(completion.status, completion.userData);
    const std::lock_guard lock(mutex_);
    ++doneCount_;
    done_.notify_all();
  }
}

Completions::Completion Completions::take() {
  std::unique_lock lock(mutex_);
  posted_.wait(lock, [this] { return !closed_ && !pending_.empty(); });
  Completion completion = std::move(pending_.front());
  pending_.pop_front();
  return completion;
}

void Completions::atExit() {
  std::unique_lock lock(mutex_);
  const u64 target = postedCount_;
  const auto areDone = [&] { return doneCount_ >= target; };
  if (!onWorker()) done_.wait_for(lock, exitTime, areDone);
  closed_ = true;
}

}  // namespace loopback
