#ifndef PLATFORM_GRPC_CONNECTIVITY_H
#define PLATFORM_GRPC_CONNECTIVITY_H

#include <grpcpp/channel.h>

#include <memory>

#include "platform/grpc/event.h"

namespace delivery {

class Channel;

/// Keeps a channel connected, and passes on the states of its connection. Lives until the channel
/// is gone, and a little longer.
class Connectivity final : private Event {
 public:
  static void follow(const std::shared_ptr<Channel>& channel);

 private:
  explicit Connectivity(const std::shared_ptr<Channel>& channel);
  void happened(bool ok) override;
  void look(Channel& channel);

  const std::weak_ptr<Channel> channel_;
  const std::shared_ptr<grpc::Channel> connection_;
};

}  // namespace delivery

#endif
