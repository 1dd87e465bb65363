#ifndef PLATFORM_GRPC_CALL_H
#define PLATFORM_GRPC_CALL_H

#include <grpcpp/support/status.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "mqc_fes_intf.h"

namespace delivery {

class Channel;

/// Deadlines do not depend on the wall clock, by which gRPC waits.
using Clock = std::chrono::steady_clock;

/// Who is notified when a call has ended.
struct Ending {
  bool isWaitedFor;
  RpcAsyncCallback callback;  ///< may be NULL
  void* userData;
};

/// An encoded message.
struct Message {
  std::unique_ptr<u8[]> bytes;
  u32 size = 0;
};

/// How a call ended.
struct Result {
  u32 status = 0;
  bool isAnswer = false;  ///< the status is the service's
  std::string reason;     ///< more about a failure
};

/// A failure; without its reason if there is no memory for that.
Result failed(u32 status, std::string_view reason = "") noexcept;

/// A request on its way and its result, either way of delivery.
class Call {
 public:
  virtual ~Call() = default;
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  /// Ends the call at once, since its deadline has passed or its channel is closed, unless it has
  /// ended.
  virtual void stop(grpc::StatusCode why) = 0;

  /// Waits for the end; false when the deadline passes first.
  bool wait();
  /// Returns how it ended, and sets this thread's failure text.
  u32 outcome() const;

  const std::shared_ptr<Channel> channel;
  const std::string path;  ///< /<interface>/<method>
  const Clock::time_point begin;
  const Clock::time_point deadline;
  const Ending ending;
  const u32 bytes;   ///< of the message
  u64 sequence = 0;  ///< set as it is sent

 protected:
  /// Begins at that time, and may last as long as the channel permits.
  Call(std::shared_ptr<Channel> to, const MethodId& method, Clock::time_point when,
       const Ending& whose, u32 size);

  /// Keeps and counts the first result, and wakes the thread that waits for it; the rest is up to
  /// the caller. A later result changes nothing: the first may be in use.
  void finish(Result&& result);

 private:
  std::mutex mutex_;
  std::condition_variable woken_;
  bool ended_ = false;
  Result result_;  // read by the waiting thread or in the callback, after the end

  friend class CallList;
  std::shared_ptr<Call> next_;
};

/// Calls in a row; a call is in one list at a time. Adding allocates nothing.
class CallList {
 public:
  CallList() = default;
  CallList(CallList&& other) noexcept { append(std::move(other)); }
  CallList(const CallList&) = delete;
  CallList& operator=(const CallList&) = delete;
  ~CallList() {
    while (!isEmpty()) take();
  }

  bool isEmpty() const { return first_ == nullptr; }
  void add(std::shared_ptr<Call> call) noexcept;
  void append(CallList&& other) noexcept;
  /// Removes the first one.
  std::shared_ptr<Call> take() noexcept;

 private:
  std::shared_ptr<Call> first_;
  Call* last_ = nullptr;
};

}  // namespace delivery

#endif
