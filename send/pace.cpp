#include "send/pace.h"

#include <algorithm>
#include <utility>

namespace send {
namespace {

constexpr double latest = 1e18;  // 30 years, which may be added to any time

}  // namespace

u64 Pace::next(u64 recorded) {
  if (std::exchange(hasBegun_, true) && recorded > last_) passed_ += recorded - last_;
  last_ = recorded;
  if (speed_ == 0) return 0;
  return static_cast<u64>(std::min(static_cast<double>(passed_) / speed_, latest));
}

}  // namespace send
