#ifndef SEND_SENDING_H
#define SEND_SENDING_H

#include <chrono>

#include "send/options.h"

namespace send {

/// How long to wait for an answer: the platform ends calls at their deadline, unless it hangs.
std::chrono::milliseconds longestCall();

/// Sends the requests in their order, and prints each answer; of lines, a summary on stderr. After
/// a call that did not return 0 none is made, unless the options say so.
/// @return whether all calls were made and returned 0; what else has failed is reported
bool sendAll(const Library& library, const Options& options, Requests& requests);

}  // namespace send

#endif
