#ifndef PLATFORM_GRPC_EXCHANGE_H
#define PLATFORM_GRPC_EXCHANGE_H

#include <grpcpp/generic/generic_stub.h>

#include <optional>

#include "platform/grpc/channel.h"
#include "platform/grpc/event.h"

namespace delivery {

/// A streaming call to gRPC, from its start until gRPC reports its end. Reports each step to the
/// channel's stream.
class Exchange {
 public:
  static std::shared_ptr<Exchange> make(std::shared_ptr<Channel> channel);

  // Each ends with a step; one read and one write may be under way at a time.

  static void start(const std::shared_ptr<Exchange>& exchange);
  void read();
  void write(const grpc::ByteBuffer& message);
  /// Ends this side; as a write.
  void endWriting();
  /// After the last of them.
  void finish();

  /// Ends everything that is under way.
  void cancel();

  const grpc::ByteBuffer& message() const { return incoming_; }
  const grpc::Status& status() const { return status_; }
  const std::shared_ptr<Channel>& channel() const { return channel_; }
  /// Drops the reference that it keeps to itself until the end.
  std::shared_ptr<Exchange> release();

  // Guarded by the stream's mutex.

  bool mayWrite() const { return isGreeted && !isWriting && !isClosed && !isLost && !verdict; }

  bool isGreeted = false;  ///< the service has sent its instance number
  bool isAged = false;     ///< another is to follow, though no call may need it
  bool isWriting = false;
  bool isLost = false;                                 ///< nothing can be read any more
  bool isClosed = false;                               ///< nothing may be written any more
  Clock::time_point since = Clock::time_point::max();  ///< that it was greeted
  /// Why this side has ended it, for calls that were sent and for those that were not.
  std::optional<std::pair<Result, Result>> verdict;

 private:
  explicit Exchange(std::shared_ptr<Channel> channel);

  struct Step final : Event {
    Step(Exchange& whose, void (Stream::*handler)(Exchange&, bool))
        : exchange(whose), report(handler) {}
    void happened(bool ok) override { (exchange.channel_->stream().*report)(exchange, ok); }

    Exchange& exchange;
    void (Stream::*const report)(Exchange&, bool);
  };
  const std::shared_ptr<Channel> channel_;
  grpc::ClientContext context_;
  std::unique_ptr<grpc::GenericClientAsyncReaderWriter> stream_;
  grpc::ByteBuffer incoming_;
  grpc::Status status_;
  Step started_, received_, sent_, finished_;
  std::shared_ptr<Exchange> self_;
};

}  // namespace delivery

#endif
