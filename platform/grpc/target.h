#ifndef PLATFORM_GRPC_TARGET_H
#define PLATFORM_GRPC_TARGET_H

#include <string>

namespace delivery {

/// What is wrong with a target, as in "which has no host"; empty when nothing is that can be seen
/// here: gRPC takes a port modulo 65536, and what else is wrong shows when it
/// connects.
std::string targetFault(const std::string& target);

}  // namespace delivery

#endif
