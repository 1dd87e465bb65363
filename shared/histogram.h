#ifndef SHARED_HISTOGRAM_H
#define SHARED_HISTOGRAM_H

#include <array>
#include <atomic>
#include <vector>

#include "mqc_fes_intf.h"

namespace shared {

/// Values from..to, both included, and how many there were.
struct Bucket {
  u64 from;
  u64 to;
  u64 count;
};

/// How many values fell into each bucket. A bucket is at most 1/128 of its values wide, so that no
/// result is too small, and none too large by more than 0.8 %.
class Distribution {
 public:
  Distribution() = default;
  /// @param counts of every bucket
  /// @param most   the largest value
  Distribution(std::vector<u64> counts, u64 most);

  u64 count() const { return count_; }
  /// The largest value, 0 where there is none.
  u64 most() const { return most_; }
  /// The least value that so many percent of the values, 0 to 100, do not exceed; 0 where there is
  /// no value.
  u64 percentile(double percent) const;
  /// The buckets that hold values, in ascending order.
  std::vector<Bucket> buckets() const;
  /// What has come since an earlier state of the same histogram.
  Distribution since(const Distribution& before) const;

 private:
  std::vector<u64> counts_;
  u64 most_ = 0;
  u64 count_ = 0;
};

/// Counts values, of any size. Several threads may add at once; adding allocates nothing.
class Histogram {
 public:
  /// Buckets of as many bits as follow a value's first one; smaller values have one each.
  static constexpr unsigned bits = 7;

  void add(u64 value) noexcept;
  /// The values so far. What is added meanwhile may be missing.
  Distribution read() const;

 private:
  static constexpr std::size_t size = (64 - bits + 1) << bits;

  std::array<std::atomic<u64>, size> counts_{};
  std::atomic<u64> most_ = 0;
};

}  // namespace shared

#endif
