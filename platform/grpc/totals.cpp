#include "platform/grpc/totals.h"

#include <mutex>
#include <set>

#include "shared/printable.h"

namespace delivery {

struct Total {
  std::set<const ChannelStats*> channels;
  TarnGrpcStats ended{};  // the counts of those that have ended
};

namespace {

struct Targets {
  std::mutex mutex;
  std::map<std::string, Total> byTarget;  // never shrinks
};

/// Never destroyed: calls are made while the process ends.
Targets& all() {
  static auto* const only = new Targets;
  return *only;
}

Total& totalWith(std::string_view target, const ChannelStats& channel) {
  const std::lock_guard lock(all().mutex);
  Total& total = all().byTarget[shared::printable(target)];
  total.channels.insert(&channel);
  return total;
}

}  // namespace

ChannelStats::ChannelStats(std::string_view target) : total_(totalWith(target, *this)) {}

ChannelStats::~ChannelStats() {
  const std::lock_guard lock(all().mutex);
  addTo(total_.ended);
  total_.channels.erase(this);
}

Totals totals() {
  Totals sums;
  const std::lock_guard lock(all().mutex);
  for (const auto& [target, total] : all().byTarget) {
    TarnGrpcStats& sum = sums.emplace(target, total.ended).first->second;
    for (const ChannelStats* const channel : total.channels) channel->addTo(sum);
  }
  return sums;
}

}  // namespace delivery
