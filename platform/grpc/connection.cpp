#include "platform/grpc/connection.h"

#include <grpcpp/create_channel.h>
#include <grpcpp/security/tls_credentials_options.h>

#include "platform/grpc/failure.h"
#include "platform/grpc/log.h"
#include "platform/grpc/service_config.h"
#include "platform/grpc/signals.h"

namespace delivery {
namespace {

constexpr int maxReplyBytes = 64 * 1024;
constexpr int maxAnswersBytes = 1024 * 1024;  // a message of the stream
constexpr int leastBackoffMs = 100;
constexpr int mostBackoffMs = 2'000;
constexpr int connectMs = 5'000;
constexpr int keepaliveMs = 20'000;
constexpr unsigned filesSeconds = 5;  // between two looks at the certificate files

grpc::ChannelArguments argumentsOf(const Settings& settings) {
  grpc::ChannelArguments arguments;
  arguments.SetMaxReceiveMessageSize(settings.stream ? maxAnswersBytes : maxReplyBytes);
  arguments.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, leastBackoffMs);
  // Despite its name: how long an attempt to connect may take, TLS handshake included.
  arguments.SetInt(GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, connectMs);
  arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, mostBackoffMs);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, keepaliveMs);
  arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  arguments.SetInt(GRPC_ARG_ENABLE_RETRIES, 0);  // the service may have acted on the first try
  arguments.SetInt(GRPC_ARG_SERVICE_CONFIG_DISABLE_RESOLUTION, 1);  // that of DNS
  if (!settings.serviceConfig.empty()) arguments.SetServiceConfigJSON(settings.serviceConfig);
  // Not SetSslTargetNameOverride: with it a call is not checked against the certificate again, and
  // the check at the handshake takes "*.test" for mqc.test, or the common name where there are
  // alternative ones.
  if (!settings.serverName.empty()) {
    arguments.SetString(GRPC_ARG_DEFAULT_AUTHORITY, settings.serverName);
  }
  return arguments;
}

/// Credentials that follow the files: connections made after a change use their new contents.
std::shared_ptr<grpc::ChannelCredentials> credentialsOf(const Settings& settings) {
  using namespace grpc::experimental;
  if (settings.ca.empty()) return grpc::InsecureChannelCredentials();
  TlsChannelCredentialsOptions options;
  options.set_certificate_provider(std::make_shared<FileWatcherCertificateProvider>(
      settings.key, settings.cert, settings.ca, filesSeconds));
  options.watch_root_certs();
  if (!settings.cert.empty()) options.watch_identity_key_cert_pairs();
  options.set_certificate_verifier(std::make_shared<HostNameCertificateVerifier>());
  return TlsCredentials(options);
}

void checkServiceConfig(const std::string& config) {
  if (config.empty()) return;
  const std::string fault = serviceConfigFault(config);
  if (!fault.empty()) throw SetupError("the service configuration " + fault);
}

}  // namespace

std::shared_ptr<grpc::Channel> connect(const Settings& settings) {
  const SignalsBlocked blocked;
  LogOfThread log;
  checkServiceConfig(settings.serviceConfig);
  auto channel =
      grpc::CreateCustomChannel(settings.target, credentialsOf(settings), argumentsOf(settings));
  // A channel whose target gRPC cannot parse has failed from the start.
  if (channel->GetState(false) != GRPC_CHANNEL_IDLE) {
    throw SetupError("gRPC refuses the target '" + settings.target + "'" + log.reason());
  }
  return channel;
}

}  // namespace delivery
