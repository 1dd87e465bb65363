#ifndef SEND_DRY_RUN_H
#define SEND_DRY_RUN_H

#include "send/options.h"

namespace send {

/// Encodes the requests, and writes the messages: one to a file or stdout, those of lines to a
/// folder as captures are written. Of a replay that is checked, prints what differs, and writes the
/// messages only where the options state a place.
/// @return whether all was written and nothing differs; what failed has been reported
bool encodeAll(const Library& library, const Options& options, Requests& requests);

}  // namespace send

#endif
