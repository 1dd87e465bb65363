#ifndef RECORD_SETTINGS_H
#define RECORD_SETTINGS_H

#include "record/pending.h"
#include "shared/recording.h"

namespace record {

/// What a recorded process has.
struct State {
  bool isOn;  // from the loading of this library on
  shared::Recording recording;
  PendingCalls pending;
};

extern State state;

}  // namespace record

#endif
