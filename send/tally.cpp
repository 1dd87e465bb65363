#include "send/tally.h"

#include <algorithm>

namespace send {

void Tally::add(u32 status) noexcept {
  countOf(status).fetch_add(1, std::memory_order_relaxed);
  if (status != 0) failed_.fetch_add(1, std::memory_order_relaxed);
  calls_.fetch_add(1, std::memory_order_release);
}

std::atomic<u64>& Tally::countOf(u32 status) noexcept {
  const u64 key = u64{status} + 1;
  for (std::size_t i = 0; i < size; ++i) {
    Counter& counter = counters_[(status + i) % size];
    u64 found = counter.key.load(std::memory_order_relaxed);
    if (found == 0 && counter.key.compare_exchange_strong(found, key)) return counter.count;
    if (found == key) return counter.count;
  }
  return others_;
}

std::vector<StatusCount> Tally::read() const {
  std::vector<StatusCount> found;
  for (const Counter& counter : counters_) {
    if (counter.count > 0) found.push_back({static_cast<u32>(counter.key - 1), counter.count});
  }
  std::sort(found.begin(), found.end(),
            [](const StatusCount& a, const StatusCount& b) { return a.status < b.status; });
  return found;
}

}  // namespace send
