#include "platform/grpc/stats.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/grpc/call.h"

namespace delivery {
namespace {

constexpr auto relaxed = std::memory_order_relaxed;

/// How long the struct was in version 1.1.0.
constexpr u32 firstSize = offsetof(TarnGrpcStats, latency) + sizeof(u64[TARN_GRPC_LATENCIES]);

u64 TarnGrpcStats::*memberFor(const Result& result) {
  if (result.isAnswer) {
    return result.status == 0 ? &TarnGrpcStats::succeeded : &TarnGrpcStats::answered;
  }
  if (result.status >= TARN_GRPC_NOT_SENT) return &TarnGrpcStats::notSent;
  switch (result.status) {
    case TARN_GRPC_TRANSPORT + u32{grpc::DEADLINE_EXCEEDED}:
      return &TarnGrpcStats::late;
    case TARN_GRPC_TRANSPORT + u32{grpc::UNAVAILABLE}:
      return &TarnGrpcStats::unavailable;
    case TARN_GRPC_GARBAGE:
      return &TarnGrpcStats::garbage;
    default:
      return &TarnGrpcStats::failed;
  }
}

std::size_t indexOf(const Result& result) {
  const auto member = memberFor(result);
  const auto isIt = [member](const Outcome& outcome) { return outcome.count == member; };
  return static_cast<std::size_t>(std::find_if(outcomes, std::end(outcomes), isIt) - outcomes);
}

/// Rounds up: a bucket includes its upper bound.
std::size_t bucketOf(std::chrono::nanoseconds time) {
  const auto microseconds = static_cast<u64>(std::max<std::int64_t>(time.count() - 1, 0)) / 1'000;
  return std::min<std::size_t>(std::bit_width(microseconds), TARN_GRPC_LATENCIES - 1);
}

}  // namespace

void Stats::accept(u64 bytes) noexcept {
  calls_.fetch_add(1, relaxed);
  bytes_.fetch_add(bytes, relaxed);
}

void Stats::refuse() noexcept {
  busy_.fetch_add(1, relaxed);
}

void Stats::end(const Result& result, std::chrono::nanoseconds time) noexcept {
  nanoseconds_.fetch_add(static_cast<u64>(time.count()), relaxed);
  // Whoever sees the end sees the call's begin.
  ended_[indexOf(result)][bucketOf(time)].fetch_add(1, std::memory_order_release);
}

void Stats::addTo(TarnGrpcStats& sum) const noexcept {
  u64 over = 0;
  for (std::size_t way = 0; way < ended_.size(); ++way) {
    for (std::size_t bucket = 0; bucket < ended_[way].size(); ++bucket) {
      const u64 count = ended_[way][bucket].load(std::memory_order_acquire);
      sum.*outcomes[way].count += count;
      sum.latency[bucket] += count;
      over += count;
    }
  }
  const u64 calls = calls_.load(relaxed);
  sum.calls += calls;
  sum.underWay += calls - over;
  sum.bytes += bytes_.load(relaxed);
  sum.busy += busy_.load(relaxed);
  sum.nanoseconds += nanoseconds_.load(relaxed);
}

bool fill(TarnGrpcStats* stats, TarnGrpcStats counts) noexcept {
  if (stats == nullptr || stats->size < firstSize) return false;
  counts.size = std::min<u32>(stats->size, sizeof counts);
  std::memcpy(stats, &counts, counts.size);
  return true;
}

}  // namespace delivery
