#ifndef SERVICE_RECENT_CALLS_H
#define SERVICE_RECENT_CALLS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reader/schema.h"

namespace service {

/// A call that has arrived.
struct RecentCall {
  const reader::Schema::Method* method = nullptr;
  std::string path;                             ///< of a call without a method, printable
  std::string_view variant;                     ///< sync, async or oneway; empty: none was stated
  const char* kind = "";                        ///< compact, full, or why it is neither
  std::size_t size = 0;                         ///< of the request, in bytes
  std::chrono::steady_clock::time_point since;  ///< when it arrived

  // What follows is set by RecentCalls.
  struct End {
    /// As recordings have it: the answer's, or 1000 plus gRPC's code; nothing: no answer.
    std::optional<std::uint32_t> status;
    std::chrono::microseconds after;
  };
  std::uint64_t number = 0;                    ///< among all calls, from 1
  std::uint64_t change = 0;                    ///< the latest, among the changes of all calls
  std::chrono::system_clock::time_point time;  ///< when it arrived
  std::optional<End> end;
};

/// The latest calls and the counts of all, for who looks on. Under its lock, calls are copied
/// without their messages, and nothing is formatted: no call waits for a reader. Safe from any
/// thread.
class RecentCalls {
 public:
  static constexpr std::size_t mostCalls = 1000;
  /// Of one message, and of all, in bytes; longer ones, and the oldest, are not kept.
  static constexpr std::size_t longestMessage = 65536;
  static constexpr std::size_t mostBytes = std::size_t{16} << 20;

  using Message = std::shared_ptr<const std::vector<std::uint8_t>>;
  struct Count {
    std::uint64_t calls = 0;
    std::uint64_t underWay = 0;
    std::uint64_t failed = 0;  ///< without an answer, or with another status than 0
  };
  using Counts = std::map<const reader::Schema::Method*, Count>;
  struct News {
    std::uint64_t calls = 0;          ///< that have arrived
    std::uint64_t change = 0;         ///< the latest
    std::vector<RecentCall> changed;  ///< in the order of their numbers
    Counts counts;                    ///< by method; of unknown ones under nullptr
  };
  struct Found {
    RecentCall call;
    Message message;  ///< nullptr: not kept
  };

  /// Adds a call, and its message if it has one, and returns its number.
  std::uint64_t add(RecentCall call, std::optional<reader::Bytes> message = std::nullopt);
  /// States what a call of that method was answered; to be called once.
  /// @param status nothing: it will have no answer
  void end(std::uint64_t number, const reader::Schema::Method* method,
           std::optional<std::uint32_t> status);

  /// The latest calls that have changed since a change; 0: all of them.
  News since(std::uint64_t change) const;
  /// One of the latest calls.
  std::optional<Found> find(std::uint64_t number) const;

 private:
  // These are called with the mutex held.
  std::uint64_t firstOfLatest() const { return calls_ < mostCalls ? 1 : calls_ - mostCalls + 1; }
  Found& placeOf(std::uint64_t number) { return latest_[number % mostCalls]; }
  const Found& placeOf(std::uint64_t number) const { return latest_[number % mostCalls]; }
  void drop(Found& place, std::vector<Message>& dropped);

  mutable std::mutex mutex_;                                   // guards what follows
  std::vector<Found> latest_ = std::vector<Found>(mostCalls);  // each at its number's remainder
  std::uint64_t calls_ = 0;
  std::uint64_t changes_ = 0;
  std::uint64_t firstKept_ = 1;  // no message of a call before it is kept
  std::size_t bytes_ = 0;        // of messages that are kept
  Counts counts_;
};

}  // namespace service

#endif
