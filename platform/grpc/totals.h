#ifndef PLATFORM_GRPC_TOTALS_H
#define PLATFORM_GRPC_TOTALS_H

#include <map>
#include <string>
#include <string_view>

#include "platform/grpc/stats.h"

namespace delivery {

struct Total;

/// A channel's counts, which are part of its target's total, and stay there when the channel has
/// ended: no total falls.
class ChannelStats final : public Stats {
 public:
  explicit ChannelStats(std::string_view target);
  ChannelStats(const ChannelStats&) = delete;
  ChannelStats& operator=(const ChannelStats&) = delete;
  ~ChannelStats();

 private:
  Total& total_;
};

/// By target, in the form that is printed: UTF-8 on one line.
using Totals = std::map<std::string, TarnGrpcStats>;
/// The totals of the process.
Totals totals();

}  // namespace delivery

#endif
