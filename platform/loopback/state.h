#ifndef PLATFORM_LOOPBACK_STATE_H
#define PLATFORM_LOOPBACK_STATE_H

#include <array>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "platform/loopback/completions.h"
#include "platform/loopback/recording.h"
#include "platform/loopback/rules.h"
#include "shared/capture.h"
#include "tarn/loopback.h"

namespace loopback {

/// What TarnLoopback_reset restores, except that what the environment names stays set.
struct Settings {
  TarnReceiver receiver = nullptr;
  void* receiverData = nullptr;
  u32 status = 0;
  u32 completionStatus = 0;
  bool handleAvailable = true;
  std::shared_ptr<Recording> recording;
  std::shared_ptr<Rules> rules;
  std::array<u64, 3> delivered{};  ///< by TarnVariant
};

/// What the environment has set, when the library was loaded.
struct Environment {
  std::string captureDir;  ///< empty: none
  std::shared_ptr<Recording> recording;
  std::shared_ptr<Rules> rules;
};

/// The loopback's state. No lock is held while a callback runs, and no call holds two.
struct State {
  // A fork takes all locks.
  void lock();
  void unlock();
  void recordInChild();

  shared::Capture capture;
  Completions completions;
  Environment environment;

  std::mutex ruling;  ///< held while any script is asked

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
