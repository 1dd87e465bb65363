#ifndef SEND_SCHEDULE_H
#define SEND_SCHEDULE_H

#include <atomic>
#include <limits>

#include "send/clock.h"

namespace send {

/// What a load is to do. It ends with its count or its duration, whichever is first.
struct LoadPlan {
  static constexpr u64 unlimited = std::numeric_limits<u64>::max();

  double rate = 0;  ///< calls a second; 0: as fast as inFlight allows
  u64 duration = unlimited;
  u64 count = unlimited;
  u32 inFlight = 1;  ///< asynchronous calls that may be under way
  u64 patience = 0;  ///< how long a call's end is waited for
};

/// When the calls of a load are to start, counted from 0, whatever became of the calls before.
class Schedule {
 public:
  Schedule(const LoadPlan& plan, u64 start);

  bool hasRate() const { return rate_ > 0; }
  u64 start() const { return start_; }
  /// When the call is to start; with no rate, at the start.
  u64 at(u64 call) const;
  /// Whether the call is planned: it is one of the count, and to start before the end.
  bool has(u64 call) const { return call < count_ && at(call) < end_; }
  /// How many calls are to have started at the end; with no rate, 0.
  u64 due() const;
  /// No call is to start at this time or later.
  u64 end() const { return end_; }
  /// Nor does a late one start at this time or later.
  u64 closing() const;
  /// Ends the schedule at this time, unless it ends before. One thread may call it while others
  /// read.
  void endAt(u64 time);

 private:
  double rate_;
  u64 count_;
  u64 start_;
  std::atomic<u64> end_;
};

}  // namespace send

#endif
