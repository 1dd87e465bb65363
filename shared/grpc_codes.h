#ifndef SHARED_GRPC_CODES_H
#define SHARED_GRPC_CODES_H

#include <string_view>

namespace shared {

/// The names of gRPC's codes, by their numbers.
inline constexpr std::string_view grpcCodes[] = {
    "OK",        "CANCELLED",      "UNKNOWN",           "INVALID_ARGUMENT",   "DEADLINE_EXCEEDED",
    "NOT_FOUND", "ALREADY_EXISTS", "PERMISSION_DENIED", "RESOURCE_EXHAUSTED", "FAILED_PRECONDITION",
    "ABORTED",   "OUT_OF_RANGE",   "UNIMPLEMENTED",     "INTERNAL",           "UNAVAILABLE",
    "DATA_LOSS", "UNAUTHENTICATED"};

}  // namespace shared

#endif
