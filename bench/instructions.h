#ifndef BENCH_INSTRUCTIONS_H
#define BENCH_INSTRUCTIONS_H

#include "bench/subjects.h"

namespace bench {

/// Has callgrind, which must run the program, write one profile for each contestant and subject,
/// named after both. Each is of 64 encodings; the loop alone is the contestant "nobody".
void countInstructions(const Subjects& subjects);

/// The same for the calls through the stubs.
void countCallInstructions();

}  // namespace bench

#endif
