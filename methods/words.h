#ifndef METHODS_WORDS_H
#define METHODS_WORDS_H

// From words such as head.f0=1 to a request record.

#include "methods/request.h"

namespace methods {

/// Sets a field: f3=37, f3=0x25, f5=1,2,3, f9[2].f0=1; bytes in hexadecimal, f1=00:11:22, or as
/// numbers with commas between them.
/// @return what is wrong, with its place, or nothing
std::string setWord(const Method& method, std::string_view word, Request& request);

}  // namespace methods

#endif
