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

/// Serves connections that it is given; it listens nowhere itself.
class Server {
 public:
  /// Both must outlive the server.
  Server(const reader::Schema& schema, Journal& journal) : service_(schema, journal) {}

  /// Begins, over TLS where there are certificates. Returns whether gRPC could; where not, it has
  /// complained.
  bool start(const Certificates& certificates);
  /// Takes a connected socket that does not block, and closes it at its end.
  void take(int socket);
  /// Ends: calls under way have that long.
  void end(std::chrono::milliseconds patience);

 private:
  Service service_;
  std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> acceptor_;
  std::unique_ptr<grpc::Server> server_;
};

}  // namespace service

#endif
