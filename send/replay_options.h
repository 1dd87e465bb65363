#ifndef SEND_REPLAY_OPTIONS_H
#define SEND_REPLAY_OPTIONS_H

#include <string>
#include <vector>

namespace send {

/// Recordings that are sent again, as the command line states it.
struct ReplayOptions {
  std::vector<std::string> files;  ///< empty: none
  double speed = 0;                ///< times the recorded pace; 0: as fast as possible
  bool isChecked = false;          ///< print what differs from the recordings
};

}  // namespace send

#endif
