#ifndef RECORD_SETTINGS_H
#define RECORD_SETTINGS_H

#include <atomic>

#include "record/pending.h"
#include "shared/recording.h"

namespace record {

/// What a recorded process has.
struct State {
  std::atomic<bool> isOn;  // from the loading of this library on; other threads may run by then
  shared::Recording recording;
  PendingCalls pending;
};

extern State state;

}  // namespace record

#endif
