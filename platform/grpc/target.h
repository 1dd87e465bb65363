#ifndef PLATFORM_GRPC_TARGET_H
#define PLATFORM_GRPC_TARGET_H

#include <string>

namespace platform {

/// What is wrong with the ports of a target, empty when they are numbers from 1 to 65535 or left
/// out. gRPC takes what is larger modulo 65536, and looks a word up only when it connects.
std::string portFault(const std::string& target);

}  // namespace platform

#endif
