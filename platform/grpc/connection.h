#ifndef PLATFORM_GRPC_CONNECTION_H
#define PLATFORM_GRPC_CONNECTION_H

#include <grpcpp/channel.h>

#include <memory>

#include "platform/grpc/settings.h"

namespace delivery {

/// Connects at the first call. Throws a SetupError when gRPC refuses the target or the service
/// configuration.
std::shared_ptr<grpc::Channel> connect(const Settings& settings);

}  // namespace delivery

#endif
