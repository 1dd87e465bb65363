#include "platform/loopback/completions.h"

#include <system_error>
#include <thread>

#include "platform/common/report.h"

namespace platform {
namespace {

thread_local bool onWorker = false;

}  // namespace

TarnStatus Completions::start() {
  const std::lock_guard lock(mutex_);
  if (running_) return TARN_STATUS_OK;
  try {
    // Nobody joins it: a callback that hangs, or that calls exit(), must not hang the exit.
    std::thread(&Completions::run, this).detach();
  } catch (const std::system_error& error) {
    report("no thread for completions: %s", error.what());
    return TARN_STATUS_NO_RESOURCES;
  }
  running_ = true;
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
  if (onWorker) return TARN_STATUS_DEADLOCK;
  std::unique_lock lock(mutex_);
  const u64 target = postedCount_;
  done_.wait(lock, [&] { return doneCount_ >= target; });
  return TARN_STATUS_OK;
}

void Completions::run() {
  onWorker = true;
  for (;;) {
    const Completion completion = take();
    completion.callback(completion.status, completion.userData);
    const std::lock_guard lock(mutex_);
    ++doneCount_;
    done_.notify_all();
  }
}

Completions::Completion Completions::take() {
  std::unique_lock lock(mutex_);
  posted_.wait(lock, [this] { return !pending_.empty(); });
  const Completion completion = pending_.front();
  pending_.pop_front();
  return completion;
}

}  // namespace platform
