#include "shared/histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace shared {
namespace {

constexpr unsigned bits = Histogram::bits;

/// How far a value is shifted until only its leading bits remain.
unsigned shiftOf(u64 value) {
  const auto width = static_cast<unsigned>(std::bit_width(value));
  return width > bits + 1 ? width - bits - 1 : 0;
}

std::size_t indexOf(u64 value) {
  const unsigned shift = shiftOf(value);
  return (std::size_t{shift} << bits) + (value >> shift);
}

Bucket bucketAt(std::size_t index, u64 count) {
  const std::size_t octave = index >> bits;
  const std::size_t shift = octave > 1 ? octave - 1 : 0;
  const u64 from = (index - (shift << bits)) << shift;
  return {from, from + (u64{1} << shift) - 1, count};
}

}  // namespace

Distribution::Distribution(std::vector<u64> counts, u64 most)
    : counts_(std::move(counts)), most_(most) {
  for (const u64 count : counts_) count_ += count;
}

u64 Distribution::percentile(double percent) const {
  // In whole numbers: 99.9 % of 1,000 values are 999, and no fraction more.
  constexpr u64 parts = 100'000;
  const auto share = static_cast<u64>(std::llround(percent / 100 * parts));
  const u64 rank = count_ / parts * share + (count_ % parts * share + parts - 1) / parts;
  u64 passed = 0;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    passed += counts_[i];
    if (passed > 0 && passed >= rank) return std::min(bucketAt(i, 0).to, most_);
  }
  return 0;
}

std::vector<Bucket> Distribution::buckets() const {
  std::vector<Bucket> found;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    if (counts_[i] > 0) found.push_back(bucketAt(i, counts_[i]));
  }
  return found;
}

Distribution Distribution::since(const Distribution& before) const {
  std::vector<u64> counts = counts_;
  u64 most = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    counts[i] -= before.counts_[i];
    if (counts[i] > 0) most = bucketAt(i, 0).to;
  }
  return {std::move(counts), std::min(most, most_)};
}

void Histogram::add(u64 value) noexcept {
  counts_[indexOf(value)].fetch_add(1, std::memory_order_relaxed);
  u64 most = most_.load(std::memory_order_relaxed);
  while (value > most && !most_.compare_exchange_weak(most, value)) {
  }
}

Distribution Histogram::read() const {
  std::vector<u64> counts(size);
  std::copy(counts_.begin(), counts_.end(), counts.begin());
  return {std::move(counts), most_};
}

}  // namespace shared
