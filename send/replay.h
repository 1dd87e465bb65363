#ifndef SEND_REPLAY_H
#define SEND_REPLAY_H

#include <vector>

#include "send/input.h"
#include "send/replay_options.h"

namespace send {

/// Reads the calls of recordings, in the order of their requests, each as the request that it was
/// made with.
/// @param keepsGoing reads on behind a call that cannot be made again
/// @return whether the recordings are sound; what is not is reported
bool readReplay(const ReplayOptions& options, bool keepsGoing, std::vector<Entry>& entries);

}  // namespace send

#endif
