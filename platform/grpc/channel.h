#ifndef PLATFORM_GRPC_CHANNEL_H
#define PLATFORM_GRPC_CHANNEL_H

#include <grpcpp/generic/generic_stub.h>

#include <memory>
#include <mutex>

#include "platform/grpc/settings.h"

namespace platform {

/// The way to a service. A handle is a channel's address; channels are never destroyed.
class Channel {
 public:
  /// Throws a SetupError when gRPC cannot make sense of the target.
  explicit Channel(Settings settings);

  const Settings& settings() const { return settings_; }
  grpc::GenericStub& stub() { return *stub_; }

  /// Takes one of the places for calls that nobody waits for; tells whether one was free.
  bool enter();
  void leave();

 private:
  const Settings settings_;
  std::unique_ptr<grpc::GenericStub> stub_;
  std::mutex mutex_;
  u32 inFlight_ = 0;
};

// Each makes the process ready for channels, and throws when it cannot.

/// The address's default channel, made from the environment where there is none yet.
Channel* defaultChannel(RpcServerAddr& addr);
Channel* openChannel(const TarnGrpcOptions& options);

/// The channel that TarnGrpc_open gave; throws a SetupError for anything else.
Channel* openedChannel(void* opt);

/// Whether this is a child of a process that had channels.
bool isForked();

}  // namespace platform

#endif
