#ifndef SEND_REPLAY_OPTIONS_H
#define SEND_REPLAY_OPTIONS_H

#include <string>
#include <vector>

#include "reader/filter.h"

namespace send {

/// Recordings that are sent again, as the command line states it.
struct ReplayOptions {
  std::vector<std::string> files;  ///< empty: none
  std::string method;              ///< of the calls; empty: any
  reader::Choice choice;           ///< of them
  double speed = 0;                ///< times the recorded pace; 0: as fast as possible
  bool isChecked = false;          ///< print what differs from the recordings
};

}  // namespace send

#endif
