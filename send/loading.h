#ifndef SEND_LOADING_H
#define SEND_LOADING_H

#include "send/input.h"
#include "send/library.h"
#include "send/load_options.h"

namespace send {

/// Sends the requests as a load, one-way where they say so, asynchronously otherwise, and prints
/// what it came to. To be called once, under holdSignals().
///
/// @param requests at least one; all are kept in memory, since callbacks may come late. The library
///                 stays as well
/// @return whether every call that was due returned 0 and the result could be written
bool runLoad(const Library& library, Requests& requests, const LoadOptions& options);

}  // namespace send

#endif
