#ifndef PLATFORM_GRPC_CHANNEL_H
#define PLATFORM_GRPC_CHANNEL_H

#include <map>
#include <set>
#include <utility>

#include "platform/grpc/call.h"
#include "platform/grpc/settings.h"

namespace delivery {

/// A connection to a service, and its asynchronous and one-way calls. A handle is a channel's
/// address; channels are never destroyed.
class Channel {
 public:
  /// Throws a SetupError when gRPC refuses the target.
  explicit Channel(Settings settings);

  const Settings& settings() const { return settings_; }
  grpc::GenericStub& stub() { return *stub_; }

  // An asynchronous or one-way call takes a place and its bytes, returns each as early as possible,
  // and leaves when it is destroyed.

  /// Numbers the call; false when the in-flight limit is reached.
  bool enter(const std::shared_ptr<Call>& call);
  void givePlaceBack();
  void giveBytesBack(u64 bytes);
  /// Drops a reference to the call, and its number; may be repeated.
  void leave(std::shared_ptr<Call> call);

  /// Ends the calls whose deadline has passed, and returns the earliest of those that remain.
  Clock::time_point expire(Clock::time_point now);
  /// Waits until all calls up to a number have left; false when the time passes first.
  bool waitForCalls(u64 last, Clock::time_point until);

  Channel* next = nullptr;  ///< in the list of all

 private:
  using Key = std::pair<Clock::time_point, u64>;  // deadline, number

  bool hasRoom(u64 bytes) const;

  const Settings settings_;
  std::unique_ptr<grpc::GenericStub> stub_;

  std::mutex mutex_;
  std::condition_variable left_;
  u64 places_ = 0;
  u64 bytes_ = 0;
  std::set<u64> underWay_;                          // numbers
  std::map<Key, std::shared_ptr<Call>> deadlines_;  // of calls that have not been ended
};

/// The channel of calls without an option, made from the environment at the first.
Channel* defaultChannel();
Channel* openChannel(const TarnGrpcOptions& options);
/// The channel that TarnGrpc_open returned; throws a SetupError for anything else.
Channel* openedChannel(void* opt);
/// The head of the list of channels, which only grows.
Channel* firstChannel();

/// The number of a call, one more than that of the process's previous call.
u64 nextSequence();
u64 lastSequence();

}  // namespace delivery

#endif
