#ifndef PLATFORM_GRPC_STATS_H
#define PLATFORM_GRPC_STATS_H

#include <array>
#include <atomic>
#include <chrono>
#include <iterator>

#include "tarn/grpc.h"

namespace delivery {

struct Result;

/// A way in which calls end: the member that counts it, and its name.
struct Outcome {
  u64 TarnGrpcStats::*count;
  const char* name;
};
inline constexpr Outcome outcomes[] = {
    {&TarnGrpcStats::succeeded, "succeeded"}, {&TarnGrpcStats::answered, "answered"},
    {&TarnGrpcStats::late, "late"},           {&TarnGrpcStats::unavailable, "unavailable"},
    {&TarnGrpcStats::notSent, "not_sent"},    {&TarnGrpcStats::garbage, "garbage"},
    {&TarnGrpcStats::failed, "failed"}};

/// The counts of a channel. Any thread may count and read at any time; nothing waits.
class Stats {
 public:
  void accept(u64 bytes) noexcept;
  void refuse() noexcept;
  /// An accepted call has its result, so long after its begin.
  void end(const Result& result, std::chrono::nanoseconds time) noexcept;

  /// Adds the counts to others; the size stays.
  void addTo(TarnGrpcStats& sum) const noexcept;

 private:
  using Count = std::atomic<u64>;

  Count calls_ = 0;
  Count bytes_ = 0;
  Count busy_ = 0;
  Count nanoseconds_ = 0;
  // One count for both: so the sums of outcomes and of latencies are always the same.
  std::array<std::array<Count, TARN_GRPC_LATENCIES>, std::size(outcomes)> ended_{};
};

/// Fills as much of a caller's struct as it has room for. Returns false, without a change, for less
/// than the first version's.
bool fill(TarnGrpcStats* stats, TarnGrpcStats counts) noexcept;

}  // namespace delivery

#endif
