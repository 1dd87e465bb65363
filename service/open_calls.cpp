#include "service/open_calls.h"

namespace service {
namespace {

constexpr int mostCalls = 10'000;
constexpr std::chrono::seconds longestWait{10};

}  // namespace

OpenCalls::Entry OpenCalls::enter() {
  const std::lock_guard lock(mutex_);
  if (isEnding_) return Entry::ending;
  if (open_ >= mostCalls) return Entry::tooMany;
  ++open_;
  return Entry::open;
}

void OpenCalls::leave() {
  const std::lock_guard lock(mutex_);
  if (--open_ == 0) left_.notify_all();
}

void OpenCalls::close() {
  const std::lock_guard lock(mutex_);
  isEnding_ = true;
}

void OpenCalls::wait(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  auto turns = longestWait / patience;
  for (int before = 0; open_ > 0 && open_ != before && turns > 0; --turns) {
    before = open_;
    left_.wait_for(lock, patience, [this] { return open_ == 0; });
  }
}

}  // namespace service
