#include "platform/grpc/connection.h"

#include <grpcpp/create_channel.h>

#include "platform/grpc/failure.h"
#include "platform/grpc/log.h"
#include "platform/grpc/signals.h"

namespace delivery {
namespace {

constexpr int maxReplyBytes = 64 * 1024;
constexpr int maxAnswersBytes = 1024 * 1024;  // a message of the stream
constexpr int leastBackoffMs = 100;
constexpr int mostBackoffMs = 2'000;
constexpr int connectMs = 5'000;
constexpr int keepaliveMs = 20'000;

grpc::ChannelArguments argumentsOf(const Settings& settings) {
  grpc::ChannelArguments arguments;
  arguments.SetMaxReceiveMessageSize(settings.stream ? maxAnswersBytes : maxReplyBytes);
  arguments.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, leastBackoffMs);
  // Despite its name: how long an attempt to connect may take, TLS handshake included.
  arguments.SetInt(GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, connectMs);
  arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, mostBackoffMs);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, keepaliveMs);
  arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  if (!settings.serverName.empty()) arguments.SetSslTargetNameOverride(settings.serverName);
  return arguments;
}

std::shared_ptr<grpc::ChannelCredentials> credentialsOf(const Settings& settings) {
  if (settings.ca.empty()) return grpc::InsecureChannelCredentials();
  return grpc::SslCredentials({settings.ca, settings.key, settings.cert});
}

}  // namespace

std::shared_ptr<grpc::Channel> connect(const Settings& settings) {
  const SignalsBlocked blocked;
  LogOfThread log;
  auto channel =
      grpc::CreateCustomChannel(settings.target, credentialsOf(settings), argumentsOf(settings));
  // A channel whose target gRPC cannot parse has failed from the start.
  if (channel->GetState(false) != GRPC_CHANNEL_IDLE) {
    throw SetupError("gRPC refuses the target '" + settings.target + "'" + log.reason());
  }
  return channel;
}

}  // namespace delivery
