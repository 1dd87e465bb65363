#ifndef INSPECT_REFUSE_H
#define INSPECT_REFUSE_H

#include <string>

#include "shared/report.h"

namespace inspect {

// Exit statuses: something was refused; the arguments are invalid.
inline constexpr int refused = 1;
inline constexpr int wrongArguments = 2;

/// Reports in a line what is wrong with what. Returns false.
inline bool refuse(const std::string& what, const std::string& words) {
  shared::report("%s: %s", what.c_str(), words.c_str());
  return false;
}

}  // namespace inspect

#endif
