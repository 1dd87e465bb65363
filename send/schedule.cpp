#include "send/schedule.h"

#include <algorithm>
#include <cmath>

namespace send {

Schedule::Schedule(const LoadPlan& plan, u64 start)
    : rate_(plan.rate),
      count_(plan.count),
      start_(start),
      end_(plan.duration < LoadPlan::unlimited - start ? start + plan.duration
                                                       : LoadPlan::unlimited) {}

u64 Schedule::at(u64 call) const {
  if (!hasRate()) return start_;
  const double offset = static_cast<double>(call) / rate_ * static_cast<double>(second);
  constexpr double farthest = 9e18;  // 285 years
  return offset < farthest ? start_ + static_cast<u64>(offset) : LoadPlan::unlimited;
}

u64 Schedule::due() const {
  if (!hasRate()) return 0;
  const double seconds = static_cast<double>(end_ - start_) / static_cast<double>(second);
  auto calls = std::min(static_cast<u64>(seconds * rate_), count_);
  while (has(calls)) ++calls;  // the one begun, and what rounding has taken off
  return calls;
}

u64 Schedule::closing() const {
  constexpr u64 grace = second;
  const u64 end = end_;
  return hasRate() && end < LoadPlan::unlimited - grace ? end + grace : end;
}

void Schedule::endAt(u64 time) {
  end_ = std::max(start_, std::min<u64>(end_, time));
}

}  // namespace send
