#ifndef SEND_LOAD_OPTIONS_H
#define SEND_LOAD_OPTIONS_H

#include <string>

#include "send/schedule.h"

namespace send {

/// A load, as the command line states it; 0 where it does not.
struct LoadOptions {
  double rate = 0;   ///< calls a second
  u64 duration = 0;  ///< nanoseconds
  u64 count = 0;
  u32 inFlight = 0;
  bool isJson = false;  ///< print the result as JSON
  std::string page;     ///< a file for the result as a page; empty: none

  /// Whether any of this is stated.
  bool isStated() const;
  /// What to do, with the defaults for what is not stated.
  LoadPlan plan() const;
};

/// The values of a load's options as they stand on the command line; empty: not stated.
struct LoadTexts {
  std::string rate, duration, count, inFlight;
};

/// Reads the values. A wrong one is reported in a line on stderr; the result is then false.
bool readLoad(const LoadTexts& texts, LoadOptions& options);

}  // namespace send

#endif
