#include "service/server.h"

#include <grpcpp/security/server_credentials.h>

#include <string>

#include "service/mqc_service.h"
#include "service/timing.h"

namespace service {
namespace {

/// Open calls: each takes memory, whether its message arrives or not, and has to end with the
/// service.
constexpr int mostCalls = 10'000;

/// One call. The reactor owns itself until gRPC is done with it.
class Call final : public grpc::ServerGenericBidiReactor {
 public:
  Call(Journal& journal, const reader::Schema::Method& method, std::string sequence,
       std::atomic<int>& open)
      : journal_(journal), method_(method), sequence_(std::move(sequence)), open_(open) {
    ++open_;
    StartRead(&message_);
  }

  void OnReadDone(bool ok) override {
    grpc::Slice bytes;
    if (!ok || !message_.DumpToSingleSlice(&bytes).ok()) {
      return Finish(journal_.takeNothing(method_));
    }
    message_.Clear();  // a long one was in many slices
    std::uint32_t status = 0;
    const grpc::Status taken =
        journal_.take(method_, sequence_, {bytes.begin(), bytes.size()}, status);
    if (!taken.ok()) return Finish(taken);
    const auto reply = mqc::reply(status);
    reply_ = grpc::ByteBuffer(&reply.BorrowSlice(), 1);
    StartWriteAndFinish(&reply_, {}, taken);
  }
  void OnDone() override {
    --open_;
    delete this;
  }

 private:
  Journal& journal_;
  const reader::Schema::Method& method_;
  std::string sequence_;
  std::atomic<int>& open_;
  grpc::ByteBuffer message_;
  grpc::ByteBuffer reply_;
};

/// A call that is refused.
class Refusal final : public grpc::ServerGenericBidiReactor {
 public:
  explicit Refusal(const grpc::Status& status) { Finish(status); }
  void OnDone() override { delete this; }
};

std::string sequenceOf(const grpc::GenericCallbackServerContext& context) {
  const auto found = context.client_metadata().find("mqc-sequence");
  if (found == context.client_metadata().end()) return "";
  return {found->second.data(), found->second.size()};
}

std::shared_ptr<grpc::ServerCredentials> credentials(const Certificates& certificates) {
  if (certificates.cert.empty()) return grpc::InsecureServerCredentials();
  grpc::SslServerCredentialsOptions tls(
      certificates.ca.empty() ? GRPC_SSL_DONT_REQUEST_CLIENT_CERTIFICATE
                              : GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  tls.pem_root_certs = certificates.ca;
  tls.pem_key_cert_pairs = {{certificates.key, certificates.cert}};
  return grpc::SslServerCredentials(tls);
}

/// No peer keeps a place for ever: handshakes time out, dead peers are detected, and connections
/// end without losing a call; a peer that calls again connects again.
void limitConnections(grpc::ServerBuilder& builder) {
  using std::chrono::milliseconds;
  const auto limit = [&builder](const char* name, milliseconds time) {
    builder.AddChannelArgument(name, static_cast<int>(time.count()));
  };
  limit(GRPC_ARG_SERVER_HANDSHAKE_TIMEOUT_MS, handshakeTime);
  limit(GRPC_ARG_KEEPALIVE_TIME_MS, keepaliveTime);
  limit(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, keepaliveTimeout);
  builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1);
  // No limit on idle time: gRPC closes at its end, and a call that begins just then is lost.
  limit(GRPC_ARG_MAX_CONNECTION_AGE_MS, connectionAge);
  limit(GRPC_ARG_MAX_CONNECTION_AGE_GRACE_MS, connectionGrace);
}

}  // namespace

grpc::ServerGenericBidiReactor* Service::CreateReactor(
    grpc::GenericCallbackServerContext* context) {
  const std::string& path = context->method();
  const std::string prefix = "/MqcFesIntf/";
  const reader::Schema::Method* const method =
      path.rfind(prefix, 0) == 0 ? schema_.method(path.substr(prefix.size())) : nullptr;
  if (method == nullptr) return new Refusal(journal_.takeUnknown(path));
  if (open_ >= mostCalls) return new Refusal(journal_.takeTooMany(*method));
  return new Call(journal_, *method, sequenceOf(*context), open_);
}

bool Server::start(const Certificates& certificates) {
  grpc::ServerBuilder builder;
  using Builder = grpc::ServerBuilder::experimental_type;
  acceptor_ = builder.experimental().AddExternalConnectionAcceptor(
      Builder::ExternalConnectionType::FROM_FD, credentials(certificates));
  builder.RegisterCallbackGenericService(&service_);
  mqc::applyLimits(builder);
  limitConnections(builder);
  server_ = builder.BuildAndStart();
  return server_ != nullptr;
}

void Server::take(int socket) {
  grpc::experimental::ExternalConnectionAcceptor::NewConnectionParameters connection;
  connection.fd = socket;
  acceptor_->HandleNewConnection(&connection);
}

void Server::end(std::chrono::milliseconds patience) {
  server_->Shutdown(std::chrono::system_clock::now() + patience);
  server_->Wait();
}

}  // namespace service
