#ifndef SERVICE_SERVER_H
#define SERVICE_SERVER_H

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>

#include <atomic>
#include <chrono>
#include <memory>

#include "reader/schema.h"
#include "service/certificates.h"
#include "service/journal.h"

namespace service {

/// Hands each call to the journal and answers it.
class Service final : public grpc::CallbackGenericService {
 public:
  /// Both must outlive the service.
  Service(const reader::Schema& schema, Journal& journal) : schema_(schema), journal_(journal) {}

  grpc::ServerGenericBidiReactor* CreateReactor(
      grpc::GenericCallbackServerContext* context) override;

 private:
  const reader::Schema& schema_;
  Journal& journal_;
  std::atomic<int> open_ = 0;  ///< calls
};

/// Serves connections that are passed to it; does not listen itself.
class Server {
 public:
  /// Both must outlive the server.
  Server(const reader::Schema& schema, Journal& journal) : service_(schema, journal) {}

  /// Starts, over TLS if there are certificates. Returns false on failure, after a complaint of
  /// gRPC's.
  bool start(const Certificates& certificates);
  /// Takes over a connected, non-blocking socket.
  void take(int socket);
  /// Ends; calls in progress have that long.
  void end(std::chrono::milliseconds patience);

 private:
  Service service_;
  std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> acceptor_;
  std::unique_ptr<grpc::Server> server_;
};

}  // namespace service

#endif
