#ifndef SEND_CHECK_H
#define SEND_CHECK_H

// Calls that are sent again, held against their recording.

#include <string>

#include "send/calls.h"

namespace send {

// Each returns what differs, as a line with its end, or nothing.

/// The message that the library makes of a request, in the encoding of the recorded one.
std::string messageDifference(const Library& library, const Entry& entry);
/// How a call ended. Where the recording has no end of it, nothing differs.
std::string statusDifference(const Answer& answer);

}  // namespace send

#endif
