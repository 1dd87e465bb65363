#ifndef READER_RECORDED_CALLS_H
#define READER_RECORDED_CALLS_H

#include <deque>
#include <optional>
#include <set>
#include <unordered_map>

#include "reader/recording.h"

namespace reader {

/// A recorded call.
struct Call {
  struct End {
    std::uint64_t time;  ///< nanoseconds since 1970
    std::uint32_t status;
  };

  std::uint64_t number;  ///< among the recording's calls, from 1
  std::uint64_t time;    ///< of the request, nanoseconds since 1970
  std::uint64_t process;
  std::uint64_t thread;
  std::uint64_t sequence;    ///< of the process
  std::string_view variant;  ///< sync, async or oneway
  std::string method;
  std::uint32_t size;  ///< of the encoded request, in bytes
  /// The encoded request. Shorter than its size where packets are missing or were cut off; empty
  /// where it was not recorded.
  std::vector<std::uint8_t> message;
  std::optional<End> end;  ///< nothing: none was recorded

  bool isWhole() const { return message.size() == size; }
};

/// Names of methods.
using Names = std::set<std::string, std::less<>>;

/// The calls of a recording, in the order of their requests. The recording is read twice: first for
/// ends that are far from their requests. Takes memory for a few thousand calls, of
/// 100 MB of requests at most, and 100 bytes for each more that runs at the same time or has no
/// end.
class RecordedCalls {
 public:
  explicit RecordedCalls(Recording& recording) : recording_(recording) {}

  /// Goes to the first call. Returns why it failed, or nothing.
  std::string rewind();
  /// The next call, false behind the last one.
  bool next(Call& call);

  /// The methods that it calls, 1,000 at most; all are known before the first call.
  const Names& methods() const { return methods_; }
  /// Packets that could not be written, as the recording states, up to here.
  std::uint64_t missing() const { return missing_; }
  /// Ends whose requests the recording does not have, up to here.
  std::uint64_t endsAlone() const { return endsAlone_; }

 private:
  /// Which call of which process.
  struct Key {
    bool operator==(const Key&) const = default;
    std::uint64_t process;
    std::uint64_t sequence;
  };
  struct Hash {
    std::size_t operator()(const Key& key) const;
  };
  struct Place {
    std::uint64_t number;   // of the call
    std::uint64_t packets;  // before it
    std::uint64_t bytes;
  };
  using Open = std::unordered_map<Key, Place, Hash>;
  struct Waiting {
    Call call;
    Place place;
    bool hasParts;
  };

  void findFarEnds();
  void note(std::string_view method);
  bool isReady(const Waiting& waiting) const;
  void take(const Packet& packet);
  void request(const Packet& packet);
  void part(const Packet& packet);
  void end(const Packet& packet);
  Waiting* waitingFor(const Key& key);
  void count(const Packet& packet);
  bool isFar(const Place& place) const;

  Recording& recording_;
  Open open_;
  std::unordered_map<std::uint64_t, Call::End> far_;  // by the call's number
  std::deque<Waiting> waiting_;
  Names methods_;
  Place here_ = {};
  std::uint64_t missing_ = 0;
  std::uint64_t endsAlone_ = 0;
  bool isAtEnd_ = false;
};

}  // namespace reader

#endif
