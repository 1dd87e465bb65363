#include "platform/grpc/connectivity.h"

#include "platform/grpc/channel.h"
#include "platform/grpc/poller.h"
#include "platform/grpc/signals.h"

namespace delivery {
namespace {

/// How long a closed channel's connection may be looked after.
constexpr std::chrono::seconds lookTime{5};

}  // namespace

Connectivity::Connectivity(const std::shared_ptr<Channel>& channel)
    : channel_(channel), connection_(channel->connection()) {}

void Connectivity::follow(const std::shared_ptr<Channel>& channel) {
  const SignalsBlocked blocked;
  (new Connectivity(channel))->look(*channel);
}

/// Reports the state, and asks for the next; an idle connection is made.
void Connectivity::look(Channel& channel) {
  const grpc_connectivity_state state = connection_->GetState(true);
  channel.connectionIs(state);
  connection_->NotifyOnStateChange(state, std::chrono::system_clock::now() + lookTime,
                                   &poller().queue(), tag());
}

void Connectivity::happened(bool) {
  const auto channel = channel_.lock();
  if (channel != nullptr && !channel->isClosed()) return look(*channel);
  delete this;
}

}  // namespace delivery
