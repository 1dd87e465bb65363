#ifndef PLATFORM_GRPC_FAILURE_H
#define PLATFORM_GRPC_FAILURE_H

#include <stdexcept>
#include <string>

#include "mqc_fes_intf.h"

namespace platform {

/// A set-up that makes no sense; what() says why.
class SetupError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The text of TarnGrpc_lastError, a thread's own.

/// Keeps what a status means, and more where there is more to say; returns the status.
u32 failure(const char* who, u32 status, const std::string& more = "") noexcept;
/// Keeps the text and reports it as well.
void setupFailure(const char* why) noexcept;
const char* lastFailure();

}  // namespace platform

#endif
