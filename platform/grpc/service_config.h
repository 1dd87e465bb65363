#ifndef PLATFORM_GRPC_SERVICE_CONFIG_H
#define PLATFORM_GRPC_SERVICE_CONFIG_H

#include <string>

namespace delivery {

/// What is wrong with a service configuration, as in "has ..."; empty if nothing is. Uses gRPC,
/// which must have been started.
std::string serviceConfigFault(const std::string& json);

}  // namespace delivery

#endif
