#ifndef SEND_PACE_H
#define SEND_PACE_H

#include "send/clock.h"

namespace send {

/// When calls of a recording are due again.
class Pace {
 public:
  /// @param speed 1: as far apart as they were; 2: twice as fast; 0: all at once
  explicit Pace(double speed) : speed_(speed) {}

  /// When the next call is due, in nanoseconds from the first one.
  /// @param recorded the time in the recording, in nanoseconds; where it is before the former
  /// call's, because the clock was set back, the call is due together with that one
  u64 next(u64 recorded);

 private:
  double speed_;
  u64 last_ = 0;
  u64 passed_ = 0;  // in the recording
  bool hasBegun_ = false;
};

}  // namespace send

#endif
