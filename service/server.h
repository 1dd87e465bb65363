#ifndef SERVICE_SERVER_H
#define SERVICE_SERVER_H

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>

#include <chrono>
#include <memory>

#include "reader/schema.h"
#include "service/certificates.h"
#include "service/delays.h"
#include "service/journal.h"
#include "service/open_calls.h"
#include "service/stream.h"

namespace service {

/// Hands each call to the journal and answers it; calls are unary, or travel over streams.
class Service final : public grpc::CallbackGenericService {
 public:
  /// Both must outlive the service.
  Service(const reader::Schema& schema, Journal& journal)
      : schema_(schema), journal_(journal), streams_(schema, journal, calls_, delays_) {}

  grpc::ServerGenericBidiReactor* CreateReactor(
      grpc::GenericCallbackServerContext* context) override;
  /// Lets no call in, has late answers sent at once, ends the streams, and waits until all calls
  /// have ended, or none ends for a while. Returns how long that is.
  std::chrono::milliseconds end();

 private:
  const reader::Schema& schema_;
  Journal& journal_;
  OpenCalls calls_;
  Delays delays_;
  Streams streams_;
};

/// Serves connections that are passed to it; does not listen itself. Answers health checks, too.
class Server {
 public:
  /// Both must outlive the server.
  Server(const reader::Schema& schema, Journal& journal) : service_(schema, journal) {}

  /// Starts, over TLS if there are certificates. Returns false on failure, after a complaint of
  /// gRPC's.
  bool start(const Certificates& certificates);
  /// Takes over a connected, non-blocking socket.
  void take(int socket);
  /// Ends; calls in progress have a while, and as much again while some end.
  void end();

 private:
  Service service_;
  std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> acceptor_;
  std::unique_ptr<grpc::Server> server_;
};

}  // namespace service

#endif
