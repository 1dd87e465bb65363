#ifndef PLATFORM_GRPC_UNARY_H
#define PLATFORM_GRPC_UNARY_H

#include <grpcpp/generic/generic_stub.h>

#include <atomic>

#include "platform/grpc/call.h"
#include "platform/grpc/event.h"

namespace delivery {

/// A call of its own to gRPC. Lives until gRPC has ended it and nobody waits for it.
class UnaryCall final : public Call, private Event {
 public:
  static std::shared_ptr<UnaryCall> make(std::shared_ptr<Channel> to, const MethodId& method,
                                         Clock::time_point when, const Ending& whose,
                                         Message&& message);

  /// Hands the request to gRPC; the poller ends the call. Returns a status; throws on allocation
  /// failure.
  static u32 send(const std::shared_ptr<UnaryCall>& call);

  void stop(grpc::StatusCode why) override;

 private:
  UnaryCall(std::shared_ptr<Channel> to, const MethodId& method, Clock::time_point when,
            const Ending& whose, Message&& message);

  void start(const std::shared_ptr<Call>& self);
  void happened(bool ok) override;
  Result result() const;

  grpc::ByteBuffer request_;
  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientAsyncResponseReader<grpc::ByteBuffer>> reader_;
  grpc::ByteBuffer reply_;
  grpc::Status status_;
  std::atomic<grpc::StatusCode> stopped_ = grpc::StatusCode::OK;
  std::shared_ptr<Call> self_;  ///< while gRPC has it
};

}  // namespace delivery

#endif
