#ifndef PLATFORM_LOOPBACK_STATE_H
#define PLATFORM_LOOPBACK_STATE_H

#include <array>
#include <mutex>
#include <set>

#include "platform/loopback/completions.h"
#include "shared/capture.h"
#include "tarn/loopback.h"

namespace loopback {

/// What TarnLoopback_reset restores.
struct Settings {
  TarnReceiver receiver = nullptr;
  void* receiverData = nullptr;
  u32 status = 0;
  u32 completionStatus = 0;
  bool handleAvailable = true;
  std::array<u64, 3> delivered{};  ///< by TarnVariant
};

/// The loopback's state. No lock is held while a callback runs, and no call holds two.
struct State {
  // A fork takes all locks.
  void lock();
  void unlock();

  shared::Capture capture;
  Completions completions;

  std::mutex mutex;  ///< guards what follows
  Settings settings;
  /// One element per option ever passed; a handle is the element's address, which does not change.
  std::set<void*> options;
};

/// The process's only state. Made without allocation and never destroyed: the worker thread and
/// calls outlive exit().
State& state();

}  // namespace loopback

#endif
