#ifndef SHARED_STATUS_TEXT_H
#define SHARED_STATUS_TEXT_H

#include "mqc_fes_intf.h"

namespace shared {

/// The meaning of a status that all of this project's platforms share, nullptr for another one.
const char* statusText(u32 status);

/// The meaning of a status of the delivery over gRPC; a text that says so for a service's own.
const char* grpcStatusText(u32 status);

}  // namespace shared

#endif
