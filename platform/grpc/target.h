#ifndef PLATFORM_GRPC_TARGET_H
#define PLATFORM_GRPC_TARGET_H

#include <string>

namespace delivery {

/// What is wrong with a target, as in "which has no host"; empty if nothing is. Checks ports, too,
/// which gRPC takes modulo 65536; other faults appear when it connects.
std::string targetFault(const std::string& target);

}  // namespace delivery

#endif
