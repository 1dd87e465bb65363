#ifndef SERVICE_SERVER_H
#define SERVICE_SERVER_H

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>

#include <memory>
#include <string>

#include "inspect/schema.h"
#include "service/journal.h"
#include "service/options.h"

namespace service {

/// Hands each call to the journal and answers it.
class Service final : public grpc::CallbackGenericService {
 public:
  /// Both must outlive the service.
  Service(const inspect::Schema& schema, Journal& journal) : schema_(schema), journal_(journal) {}

  grpc::ServerGenericBidiReactor* CreateReactor(
      grpc::GenericCallbackServerContext* context) override;

 private:
  const inspect::Schema& schema_;
  Journal& journal_;
};

/// Has gRPC's own complaints told as the program's. Before any other use of gRPC.
void tellComplaints();

/// Starts to serve; bound gets the address that clients call. Where that fails, it is told in one
/// line on stderr, and there is no server.
std::unique_ptr<grpc::Server> start(const Options& options, Service& service, std::string& bound);

}  // namespace service

#endif
