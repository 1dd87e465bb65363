#ifndef INSPECT_ARGUMENTS_H
#define INSPECT_ARGUMENTS_H

#include <getopt.h>

#include "platform/common/report.h"

namespace inspect {

/// The next option of a command line, -1 behind the last. '?' for one that is unknown or lacks its
/// value, which is then told.
inline int nextOption(int argc, char** argv, const option* known) {
  opterr = 0;
  const int found = getopt_long(argc, argv, "", known, nullptr);
  const bool isEmpty = optarg != nullptr && *optarg == '\0';
  if (found != '?' && !isEmpty) return found;
  const char* const what = isEmpty ? "a value is empty" : argv[optind - 1];
  platform::report("%s: no such option, or its value is missing; --help tells more", what);
  return '?';
}

}  // namespace inspect

#endif
