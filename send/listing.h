#ifndef SEND_LISTING_H
#define SEND_LISTING_H

// What there is to send, as text.

#include <string>

#include "methods/methods.h"

namespace send {

/// A request of the method as JSON on several lines: every field, all zero.
std::string sampleOf(const methods::Method& method);
/// The fields of the method's request, each on a line with its type: "head.f0 u32", "f1 u8[6]".
std::string fieldsOf(const methods::Method& method);
/// The methods, each on a line with its request.
std::string listMethods();

}  // namespace send

#endif
