#ifndef PLATFORM_GRPC_CHANNEL_H
#define PLATFORM_GRPC_CHANNEL_H

#include <grpcpp/generic/generic_stub.h>

#include <map>
#include <set>
#include <utility>

#include "platform/grpc/call.h"
#include "platform/grpc/settings.h"
#include "platform/grpc/states.h"
#include "platform/grpc/stream.h"
#include "platform/grpc/totals.h"

namespace delivery {

/// A connection to a service, and the calls over it. Lives as long as it has a handle or a call.
class Channel : public std::enable_shared_from_this<Channel> {
 public:
  /// Throws a SetupError when gRPC refuses the settings.
  explicit Channel(Settings settings);
  ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  const Settings& settings() const { return settings_; }
  grpc::GenericStub& stub() { return *stub_; }
  Stream& stream() { return stream_; }
  Stats& stats() { return stats_; }
  States& states() { return *states_; }
  const std::shared_ptr<grpc::Channel>& connection() const { return connection_; }

  /// Calls the function as the state changes, and keeps the channel connected from now on. Returns
  /// false for a channel that is being closed.
  bool watch(TarnGrpcStateCallback callback, void* data);
  /// Hears the state of the connection as it changes, and every few seconds.
  void connectionIs(grpc_connectivity_state state);

  // A call enters and leaves. An asynchronous or one-way call takes a place and its bytes, and
  // returns each as early as possible.

  /// Numbers the call. Returns a status: of success, of the in-flight limit, of a closed channel.
  u32 enter(const std::shared_ptr<Call>& call);
  /// Undoes that.
  void withdraw(const std::shared_ptr<Call>& call);
  /// The call has its result: adds it to those whose callbacks are to run, or drops it.
  void ended(std::shared_ptr<Call> call, CallList& called);
  void givePlaceBack();
  /// Drops a reference to the call, and its number; may be repeated.
  void leave(std::shared_ptr<Call> call);

  /// Stops the calls whose deadline has passed, and returns the earliest of those that remain.
  Clock::time_point expire(Clock::time_point now);
  /// Waits until all asynchronous and one-way calls up to a number have left; false when the time
  /// passes first.
  bool waitForCalls(u64 last, Clock::time_point until);
  /// Refuses calls from now on, and waits so long for those that are under way; then stops them.
  /// Returns whether it need not.
  bool close(std::chrono::milliseconds patience);
  bool isClosed();

 private:
  using Key = std::pair<Clock::time_point, u64>;  // deadline, number

  bool hasRoom(u64 bytes) const;
  void giveBytesBack(u64 bytes);
  /// Takes a call that is to be stopped; none when the next has time.
  std::shared_ptr<Call> due(Clock::time_point now, Clock::time_point& next);
  std::shared_ptr<Call> waitedForAfter(u64 number);
  bool waitForAll(Clock::time_point until);

  const Settings settings_;
  std::shared_ptr<grpc::Channel> connection_;
  std::unique_ptr<grpc::GenericStub> stub_;
  Stream stream_;
  const std::shared_ptr<States> states_ = std::make_shared<States>();
  ChannelStats stats_;

  std::mutex mutex_;
  std::condition_variable left_;
  bool closed_ = false;
  bool isFollowed_ = false;  // its connection
  u64 places_ = 0;
  u64 bytes_ = 0;
  std::set<u64> underWay_;                          // numbers, of asynchronous and one-way calls
  std::map<Key, std::shared_ptr<Call>> deadlines_;  // of those that have not been stopped
  std::map<u64, std::shared_ptr<Call>> waitedFor_;  // by number
};

/// The number of a call, one more than that of the process's previous call.
u64 nextSequence();
u64 lastSequence();

}  // namespace delivery

#endif
