#ifndef SHARED_ARGUMENTS_H
#define SHARED_ARGUMENTS_H

#include <getopt.h>

#include "shared/report.h"

namespace shared {

/// The next option of a command line, -1 behind the last. '?', with a report, for one that is
/// unknown or whose value is missing or empty.
inline int nextOption(int argc, char** argv, const option* known) {
  opterr = 0;
  const int found = getopt_long(argc, argv, "", known, nullptr);
  if (found == '?') {
    report("%s: no such option, or its value is missing; see --help", argv[optind - 1]);
  } else if (optarg != nullptr && *optarg == '\0') {
    report("an option's value is empty; see --help");
    return '?';
  }
  return found;
}

}  // namespace shared

#endif
