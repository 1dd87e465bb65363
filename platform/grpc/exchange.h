#ifndef PLATFORM_GRPC_EXCHANGE_H
#define PLATFORM_GRPC_EXCHANGE_H

#include <memory>
#include <string>

#include "platform/grpc/channel.h"

namespace platform {

/// A request and its reply, as gRPC has them. Stays where it is until the reply has come.
class Exchange {
 public:
  Exchange(const MethodId& method)
      : path_(std::string("/") + method.interfaceName + '/' + method.methodName) {}

  /// Sends the request; the tag comes out of the queue when the exchange has ended.
  void start(Channel& channel, const grpc::ByteBuffer& request, u64 sequence,
             grpc::CompletionQueue& queue, void* tag);
  /// How it ended, which is a failure's text for this thread, too.
  u32 outcome() const;

 private:
  const std::string path_;
  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientAsyncResponseReader<grpc::ByteBuffer>> reader_;
  grpc::ByteBuffer reply_;
  grpc::Status status_;
};

}  // namespace platform

#endif
