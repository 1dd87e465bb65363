#ifndef PLATFORM_GRPC_FAILURE_H
#define PLATFORM_GRPC_FAILURE_H

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
/// Keeps the text and reports it as well.
void setupFailure(const char* why) noexcept;
const char* lastFailure();

}  // namespace delivery

#endif
