#ifndef PLATFORM_GRPC_WATCHDOG_H
#define PLATFORM_GRPC_WATCHDOG_H

#include "platform/grpc/call.h"

namespace delivery {

/// Ends asynchronous and one-way calls at their deadlines, on a thread of its own: gRPC's own
/// deadlines are late when the wall clock is set back.
class Watchdog {
 public:
  /// Adds a deadline to watch.
  void watch(Clock::time_point deadline);

  void run();

 private:
  std::mutex mutex_;
  std::condition_variable earlier_;
  std::atomic<Clock::time_point> next_ = Clock::time_point::max();  ///< changed under the mutex
};

/// The process's only one, its thread running; throws when no thread can be started. Never
/// destroyed: its thread outlives exit().
Watchdog& watchdog();

}  // namespace delivery

#endif
