#ifndef SHARED_GRPC_ERRORS_H
#define SHARED_GRPC_ERRORS_H

#include <string_view>

namespace shared {

/// Passes each error that gRPC logs in the process to hear, with its source file, instead of
/// stderr. Several threads may call hear at once.
void hearGrpcErrors(void (*hear)(std::string_view file, std::string_view text));

/// Whether an error is the same as in the last call: repeated failures are reported once.
bool isRepeated(std::string_view text);

}  // namespace shared

#endif
