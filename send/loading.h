#ifndef SEND_LOADING_H
#define SEND_LOADING_H

#include <vector>

#include "send/input.h"
#include "send/library.h"
#include "send/load_options.h"

namespace send {

/// Sends the requests as a load, one-way where they say so, asynchronously otherwise, and prints
/// what it came to. To be called once, under holdSignals().
///
/// @param requests at least one
/// @param deadline of a call, in nanoseconds; how long those under way at the end are waited for
/// @return 0 when every call that was due returned 0 and the result could be written, 1 otherwise
int runLoad(const Library& library, const std::vector<Entry>& requests, const LoadOptions& options,
            u64 deadline);

}  // namespace send

#endif
