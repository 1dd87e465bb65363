#include "platform/grpc/watchdog.h"

#include <algorithm>

#include "platform/grpc/channels.h"
#include "platform/grpc/start.h"

namespace delivery {
namespace {

Clock::time_point expireCalls() {
  const Clock::time_point now = Clock::now();
  Clock::time_point next = Clock::time_point::max();
  for (u64 number = 0; const auto channel = channelAfter(number);) {
    next = std::min(next, channel->expire(now));
  }
  return next;
}

}  // namespace

Watchdog& watchdog() {
  static Watchdog* const only = withThread<Watchdog>();
  return *only;
}

void Watchdog::watch(Clock::time_point deadline) {
  if (deadline >= next_.load()) return;
  const std::lock_guard lock(mutex_);
  next_ = std::min(next_.load(), deadline);
  earlier_.notify_one();
}

void Watchdog::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    // Checks the channels at the earliest deadline, even if its call has ended: so a call whose
    // deadline is not the earliest need not wake this thread.
    while (Clock::now() < next_.load()) earlier_.wait_until(lock, next_.load());
    next_ = Clock::time_point::max();  // a deadline added meanwhile is not lost
    lock.unlock();
    const Clock::time_point next = expireCalls();
    lock.lock();
    next_ = std::min(next_.load(), next);
  }
}

}  // namespace delivery
