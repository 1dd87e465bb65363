#ifndef SEND_MESSAGE_H
#define SEND_MESSAGE_H

// From a message to the request that it was made of.

#include <string>

#include "methods/request.h"
#include "reader/walk.h"

namespace send {

/// Fills a request from a message that was walked without a fault.
/// @param request made new
/// @return what the record has no room for, with its place, or nothing
std::string readMessage(const methods::Method& method, reader::Bytes message,
                        methods::Request& request);

/// The first place where a message differs from one that was walked without a fault, such as
/// "+2D, f3"; bytes that an encoding leaves unwritten are not compared. Empty where there is none.
/// @param items of the walk
std::string firstDifference(reader::Bytes message, reader::Bytes walked,
                            const std::vector<reader::Item>& items);

}  // namespace send

#endif
