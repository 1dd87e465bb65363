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

  /// What to do, with the defaults for what is not stated.
  LoadPlan plan() const;
};

/// The options of a load that have a value, for getopt_long.
enum LoadValue : int { rateValue = 512, durationValue, countValue, inFlightValue, pageValue };

/// Takes the value of one of them. A wrong one is reported in a line on stderr; the result is then
/// false.
bool takeLoad(int found, const std::string& value, LoadOptions& options);

}  // namespace send

#endif
