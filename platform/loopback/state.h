#ifndef PLATFORM_LOOPBACK_STATE_H
#define PLATFORM_LOOPBACK_STATE_H

#include <array>
#include <mutex>
#include <set>

#include "platform/loopback/completions.h"
#include "shared/capture.h"
#include "tarn/loopback.h"

namespace loopback {

/// What TarnLoopback_reset sets back.
struct Settings {
  TarnReceiver receiver = nullptr;
  void* receiverData = nullptr;
  u32 status = 0;
  u32 completionStatus = 0;
  bool handleAvailable = true;
  std::array<u64, 3> delivered{};  ///< by TarnVariant
};

/// All that the loopback keeps. No lock is held while a callback runs, nor two by a call.
struct State {
  // A fork holds all locks.
  void lock();
  void unlock();

  shared::Capture capture;
  Completions completions;

  std::mutex mutex;  ///< guards what follows
  Settings settings;
  /// One element per option ever given; a handle is the element's address, which stays.
  std::set<void*> options;
};

/// The one state of the process. It takes no memory to be made, and is never destroyed: the worker
/// thread and calls outlive exit().
State& state();

}  // namespace loopback

#endif
