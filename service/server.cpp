#include "service/server.h"

#include <flatbuffers/util.h>
#include <grpc/support/log.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <optional>

#include "platform/common/report.h"
#include "service/mqc_service.h"

namespace service {
namespace {

using platform::report;

/// One call. The reactor is its own owner until gRPC has done with it.
class Call final : public grpc::ServerGenericBidiReactor {
 public:
  Call(Journal& journal, const inspect::Schema::Method& method, std::string sequence)
      : journal_(journal), method_(method), sequence_(std::move(sequence)) {
    StartRead(&message_);
  }

  void OnReadDone(bool ok) override {
    grpc::Slice bytes;
    if (!ok || !message_.DumpToSingleSlice(&bytes).ok()) {
      return Finish({grpc::StatusCode::INVALID_ARGUMENT, "no message"});
    }
    std::uint32_t status = 0;
    const grpc::Status taken =
        journal_.take(method_, sequence_, {bytes.begin(), bytes.size()}, status);
    if (!taken.ok()) return Finish(taken);
    const auto reply = mqc::reply(status);
    reply_ = grpc::ByteBuffer(&reply.BorrowSlice(), 1);
    StartWriteAndFinish(&reply_, {}, taken);
  }
  void OnDone() override { delete this; }

 private:
  Journal& journal_;
  const inspect::Schema::Method& method_;
  std::string sequence_;
  grpc::ByteBuffer message_;
  grpc::ByteBuffer reply_;
};

/// A call of something that is no method.
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

std::mutex complaintMutex;
std::string firstComplaint;  // guarded by complaintMutex
std::atomic<bool> serving = false;

void onComplaint(gpr_log_func_args* args) {
  if (args->severity != GPR_LOG_SEVERITY_ERROR) return;
  if (serving) return report("%s", args->message);
  const std::lock_guard lock(complaintMutex);
  if (firstComplaint.empty()) firstComplaint = args->message;
}

/// Why gRPC could not start, in the system's words where those are in its own.
std::string reason() {
  const std::lock_guard lock(complaintMutex);
  const std::string key = "os_error:\"";
  const std::size_t at = firstComplaint.find(key);
  if (at == std::string::npos) return firstComplaint;
  const std::size_t begin = at + key.size();
  return firstComplaint.substr(begin, firstComplaint.find('"', begin) - begin);
}

/// Why a Unix socket's path cannot be had, empty when it can: gRPC would take it from a service
/// that is alive.
std::string takenBy(const std::string& path) {
  sockaddr_un address{};
  if (path.size() >= sizeof address.sun_path) return "the path is too long";
  address.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), address.sun_path);
  // A service that does not come to accept must not hold us up.
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (probe < 0) return std::strerror(errno);
  const bool answers =
      ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  const int error = answers || errno == EAGAIN ? EADDRINUSE : errno;
  ::close(probe);
  return error == ENOENT || error == ECONNREFUSED ? "" : std::strerror(error);
}

bool readFile(const std::string& path, std::string& text) {
  if (path.empty() || flatbuffers::LoadFile(path.c_str(), true, &text)) return true;
  report("%s: cannot be read", path.c_str());
  return false;
}

/// None when a file cannot be read.
std::shared_ptr<grpc::ServerCredentials> credentials(const Options& options) {
  if (options.cert.empty()) return grpc::InsecureServerCredentials();
  grpc::SslServerCredentialsOptions tls(
      options.ca.empty() ? GRPC_SSL_DONT_REQUEST_CLIENT_CERTIFICATE
                         : GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  grpc::SslServerCredentialsOptions::PemKeyCertPair pair;
  if (!readFile(options.cert, pair.cert_chain) || !readFile(options.key, pair.private_key) ||
      !readFile(options.ca, tls.pem_root_certs)) {
    return nullptr;
  }
  tls.pem_key_cert_pairs.push_back(pair);
  return grpc::SslServerCredentials(tls);
}

}  // namespace

grpc::ServerGenericBidiReactor* Service::CreateReactor(
    grpc::GenericCallbackServerContext* context) {
  const std::string& path = context->method();
  const std::string prefix = "/MqcFesIntf/";
  const inspect::Schema::Method* const method =
      path.rfind(prefix, 0) == 0 ? schema_.method(path.substr(prefix.size())) : nullptr;
  if (method == nullptr) return new Refusal(journal_.takeUnknown(path));
  return new Call(journal_, *method, sequenceOf(*context));
}

void tellComplaints() {
  gpr_set_log_function(onComplaint);
}

std::unique_ptr<grpc::Server> start(const Options& options, Service& service, std::string& bound) {
  const std::string& listen = options.listen;
  const bool onPath = listen.rfind("unix:", 0) == 0;
  const std::string taken = onPath ? takenBy(listen.substr(5)) : "";
  const auto security = credentials(options);
  if (security == nullptr) return nullptr;
  grpc::ServerBuilder builder;
  int port = 0;
  builder.AddListeningPort(listen, security, &port);
  builder.AddChannelArgument(GRPC_ARG_ALLOW_REUSEPORT, 0);  // a port has one service
  builder.RegisterCallbackGenericService(&service);
  mqc::applyLimits(builder);
  std::unique_ptr<grpc::Server> server = taken.empty() ? builder.BuildAndStart() : nullptr;
  if (server == nullptr || port == 0) {
    report("cannot listen on %s: %s", listen.c_str(), (taken.empty() ? reason() : taken).c_str());
    return nullptr;
  }
  serving = true;
  bound = onPath ? listen : listen.substr(0, listen.rfind(':') + 1) + std::to_string(port);
  return server;
}

}  // namespace service
