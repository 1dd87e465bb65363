#ifndef SEND_CLOCK_H
#define SEND_CLOCK_H

#include <time.h>

#include "mqc_fes_intf.h"

namespace send {

inline constexpr u64 second = 1'000'000'000;  // nanoseconds, as all times of a load
inline constexpr u64 millisecond = second / 1000;

/// The time by which a load runs, in nanoseconds from any point. Any thread may use it.
class LoadClock {
 public:
  LoadClock() = default;
  LoadClock(const LoadClock&) = delete;
  LoadClock& operator=(const LoadClock&) = delete;
  virtual ~LoadClock() = default;

  virtual u64 now() noexcept = 0;
  /// Returns at that time or a little later; a signal may end it before.
  virtual void sleepUntil(u64 time) noexcept = 0;
};

inline timespec timespecOf(u64 time) {
  return {static_cast<time_t>(time / second), static_cast<long>(time % second)};
}

class MonotonicClock : public LoadClock {
 public:
  u64 now() noexcept override {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<u64>(time.tv_sec) * second + static_cast<u64>(time.tv_nsec);
  }
  void sleepUntil(u64 time) noexcept override {
    const timespec until = timespecOf(time);
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
  }
};

}  // namespace send

#endif
