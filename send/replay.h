#ifndef SEND_REPLAY_H
#define SEND_REPLAY_H

#include <memory>

#include "send/input.h"
#include "send/replay_options.h"

namespace send {

/// Reads the calls of recordings, and checks all of them: what is not sound is reported. Then each
/// is read again when it is its turn, in the order of the requests, as the request that it was made
/// with.
/// @param keepsGoing reads on behind a call that cannot be made again, and leaves it out
/// @param isSound set to whether the recordings are sound
/// @return the calls that can be made; nullptr where none should be
std::unique_ptr<Requests> readReplay(const ReplayOptions& options, bool keepsGoing, bool& isSound);

}  // namespace send

#endif
