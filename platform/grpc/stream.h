#ifndef PLATFORM_GRPC_STREAM_H
#define PLATFORM_GRPC_STREAM_H

#include "platform/grpc/queue.h"

namespace delivery {

class Exchange;

/// The ordered stream of a channel: calls are sent in the order in which they are handed over,
/// those that wait while a message is being sent together in the next. It is opened for a call;
/// once it is broken, the next call opens another.
class Stream {
 public:
  /// Returns a status; throws on allocation failure.
  u32 send(const std::shared_ptr<StreamCall>& call);
  void stop(StreamCall& call, grpc::StatusCode why);
  /// Opens it before a call needs it; again, if it is old.
  void keepOpen(const std::shared_ptr<Channel>& channel);
  /// Ends it, when no calls are left; at the latest at that time.
  void close(Clock::time_point latest);

  // What an exchange reports, on the poller's thread.

  void started(Exchange& exchange, bool ok);
  void received(Exchange& exchange, bool ok);
  void sent(Exchange& exchange, bool ok);
  void finished(Exchange& exchange, bool ok);

 private:
  // These take over the lock, and release it.
  void push(std::unique_lock<std::mutex> lock);
  void open(std::unique_lock<std::mutex> lock, const std::shared_ptr<Exchange>& fresh);
  void reopen(std::unique_lock<std::mutex> lock, const std::shared_ptr<Channel>& channel);
  void rotate(std::unique_lock<std::mutex> lock);
  void refuse(std::unique_lock<std::mutex> lock, Exchange& exchange,
              std::pair<u32, grpc::StatusCode> statuses, const std::string& fault);

  // With the mutex held.
  std::string take(Exchange& exchange);
  void end(const Exchange& exchange);

  std::condition_variable ended_;
  std::mutex mutex_;  // not held while gRPC is called
  Queue queue_;
  std::shared_ptr<Exchange> current_;  // nullptr: the next call opens one
  u64 instance_ = 0;                   // the service's, over the last stream
  std::shared_ptr<Exchange> former_;   // that ends after its calls
};

}  // namespace delivery

#endif
