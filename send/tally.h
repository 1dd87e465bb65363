#ifndef SEND_TALLY_H
#define SEND_TALLY_H

#include <array>
#include <atomic>
#include <vector>

#include "mqc_fes_intf.h"

namespace send {

/// How many calls ended with a status.
struct StatusCount {
  u32 status;
  u64 count;
};

/// Counts calls by status. Several threads may add at once; adding allocates nothing.
class Tally {
 public:
  void add(u32 status) noexcept;

  /// What was counted, by ascending status. What is added meanwhile may be missing.
  std::vector<StatusCount> read() const;
  /// Calls whose statuses found no place: those of the first 1024 have one.
  u64 others() const { return others_; }
  /// All calls, and those whose status is not 0.
  u64 calls() const { return calls_; }
  u64 failed() const { return failed_; }

 private:
  static constexpr std::size_t size = 1024;
  struct Counter {
    std::atomic<u64> key = 0;  // the status and 1; 0 where it is free
    std::atomic<u64> count = 0;
  };

  std::atomic<u64>& countOf(u32 status) noexcept;

  std::array<Counter, size> counters_;
  std::atomic<u64> others_ = 0;
  std::atomic<u64> calls_ = 0;
  std::atomic<u64> failed_ = 0;
};

}  // namespace send

#endif
