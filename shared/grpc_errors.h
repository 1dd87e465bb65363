#ifndef SHARED_GRPC_ERRORS_H
#define SHARED_GRPC_ERRORS_H

#include <string_view>

namespace shared {

/// Has each error that gRPC logs in the process handed to hear, with the source file that it comes
/// from, in place of stderr. hear may be called by several threads at once.
void hearGrpcErrors(void (*hear)(std::string_view file, std::string_view text));

/// Whether an error is the same as the last that this was asked of: what fails again and again is
/// reported once.
bool isRepeated(std::string_view text);

}  // namespace shared

#endif
