#ifndef SEND_DRY_RUN_H
#define SEND_DRY_RUN_H

#include "send/options.h"

namespace send {

/// Encodes the requests, and writes the messages: one to a file or stdout, those of lines to a
/// folder as captures are written.
/// @return whether all was written; otherwise it has been reported why not
bool encodeAll(const Library& library, const Options& options, const std::vector<Entry>& entries);

}  // namespace send

#endif
