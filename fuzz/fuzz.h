#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include <cstdio>
#include <cstdlib>

/// Ends the run with a find when a requirement does not hold.
inline void require(bool holds, const char* words) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", words);
  std::abort();
}

#endif
