#include "service/server.h"

#include <grpcpp/health_check_service_interface.h>
#include <grpcpp/security/server_credentials.h>

#include <atomic>
#include <string>

#include "service/mqc_service.h"
#include "service/timing.h"

namespace service {
namespace {

const char garbage[] = "no reply";

/// The bytes of a reply.
grpc::ByteBuffer replyOf(const script::Answer& answer) {
  const bool isGarbage = answer.kind == script::Answer::Kind::garbage;
  const grpc::Slice bytes =
      isGarbage ? grpc::Slice(garbage) : mqc::reply(answer.number).BorrowSlice();
  return grpc::ByteBuffer(&bytes, 1);
}

/// One call. The reactor owns itself until gRPC is done with it.
class Call final : public grpc::ServerGenericBidiReactor {
 public:
  Call(Journal& journal, const reader::Schema::Method& method, shared::CallVariant variant,
       std::string sequence, OpenCalls& calls, Delays& delays)
      : journal_(journal),
        method_(method),
        variant_(variant),
        sequence_(std::move(sequence)),
        calls_(calls),
        delays_(delays) {
    StartRead(&message_);
  }

  void OnReadDone(bool ok) override;
  /// The caller waits no longer.
  void OnCancel() override {
    isCancelled_ = true;
    delays_.hasten(this);
  }
  void OnDone() override {
    OpenCalls& calls = calls_;
    delete this;
    calls.leave();
  }

 private:
  void answer();

  Journal& journal_;
  const reader::Schema::Method& method_;
  shared::CallVariant variant_;
  std::string sequence_;
  OpenCalls& calls_;
  Delays& delays_;
  std::atomic<bool> isCancelled_ = false;
  grpc::ByteBuffer message_;
  Taken taken_;
  grpc::ByteBuffer reply_;
};

void Call::OnReadDone(bool ok) {
  grpc::Slice bytes;
  if (!ok || !message_.DumpToSingleSlice(&bytes).ok()) {
    return Finish(journal_.takeNothing(method_));
  }
  message_.Clear();  // a long one was in many slices
  taken_ = journal_.take(method_, variant_, sequence_, {bytes.begin(), bytes.size()});
  const auto when = timeOf(taken_.answer);
  if (!when) return answer();
  delays_.later(*when, this, [this] { answer(); });
  if (isCancelled_) delays_.hasten(this);
}

/// Ends the call; nothing of it may be used afterwards.
void Call::answer() {
  const bool isDropped = taken_.answer.kind == script::Answer::Kind::drop;
  journal_.ended(taken_, !isCancelled_ && !isDropped);
  if (isCancelled_) return Finish(grpc::Status::CANCELLED);
  if (isDropped) return Finish(ending());
  const grpc::Status fault = faultOf(taken_);
  if (!fault.ok()) return Finish(fault);
  reply_ = replyOf(taken_.answer);
  StartWriteAndFinish(&reply_, {}, fault);
}

/// A call that is refused.
class Refusal final : public grpc::ServerGenericBidiReactor {
 public:
  explicit Refusal(const grpc::Status& status) { Finish(status); }
  void OnDone() override { delete this; }
};

/// What the caller states beside its request; empty: nothing.
std::string stated(const grpc::GenericCallbackServerContext& context, const char* name) {
  const auto found = context.client_metadata().find(name);
  if (found == context.client_metadata().end()) return "";
  return {found->second.data(), found->second.size()};
}

shared::CallVariant variantOf(const grpc::GenericCallbackServerContext& context) {
  const std::string name = stated(context, "mqc-variant");
  if (name == "async") return shared::CallVariant::async;
  return name == "oneway" ? shared::CallVariant::oneway : shared::CallVariant::sync;
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
  const std::string name = path.rfind(pathPrefix, 0) == 0 ? path.substr(sizeof pathPrefix - 1) : "";
  const reader::Schema::Method* const method = schema_.method(name);
  if (method == nullptr && path != streamPath) return new Refusal(journal_.takeUnknown(path));
  const OpenCalls::Entry entry = calls_.enter();
  if (entry == OpenCalls::Entry::tooMany) return new Refusal(journal_.takeTooMany(name));
  if (entry == OpenCalls::Entry::ending) return new Refusal(ending());
  if (method == nullptr) return streams_.open();
  return new Call(journal_, *method, variantOf(*context), stated(*context, "mqc-sequence"), calls_,
                  delays_);
}

std::chrono::milliseconds Service::end() {
  calls_.close();
  const std::chrono::milliseconds patience = delays_.end() ? lateEndTime : endTime;
  streams_.end();
  calls_.wait(patience);
  return patience;
}

bool Server::start(const Certificates& certificates) {
  grpc::EnableDefaultHealthCheckService(true);
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

void Server::end() {
  const std::chrono::milliseconds patience = service_.end();
  // Answers may still be on their way. What is open after that is late, or watches the service's
  // health.
  server_->Shutdown(std::chrono::system_clock::now() + patience);
  server_->Wait();
}

}  // namespace service
