#ifndef PLATFORM_GRPC_FAILURE_H
#define PLATFORM_GRPC_FAILURE_H

#include <grpcpp/support/status.h>

#include <stdexcept>
#include <string_view>

#include "tarn/grpc.h"

namespace delivery {

/// A set-up that cannot work; what() states why.
class SetupError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The text of TarnGrpc_lastError, one for each thread.

/// Keeps a status's meaning and any details; returns the status.
u32 failure(const char* who, u32 status, std::string_view more = "") noexcept;
/// The same for a gRPC code.
inline u32 transportFailure(const char* who, grpc::StatusCode code,
                            std::string_view more = "") noexcept {
  return failure(who, TARN_GRPC_TRANSPORT + static_cast<u32>(code), more);
}
/// Keeps the text and reports it as well.
void setupFailure(const char* why) noexcept;
const char* lastFailure();

}  // namespace delivery

#endif
