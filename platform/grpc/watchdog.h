#ifndef PLATFORM_GRPC_WATCHDOG_H
#define PLATFORM_GRPC_WATCHDOG_H

#include "platform/grpc/call.h"

namespace delivery {

/// Ends calls that nobody waits for at their deadlines, on a thread of its own: gRPC's own
/// deadlines come late when the wall clock is set back.
class Watchdog {
 public:
  /// Wakes up in time for a deadline.
  void watch(Clock::time_point deadline);

  void run();

 private:
  std::mutex mutex_;
  std::condition_variable earlier_;
  std::atomic<Clock::time_point> next_ = Clock::time_point::max();  ///< changed under the mutex
};

/// The one of the process, its thread started; throws when there is none. Never destroyed: its
/// thread outlives exit().
Watchdog& watchdog();

}  // namespace delivery

#endif
