#ifndef PLATFORM_COMPLETIONS_H
#define PLATFORM_COMPLETIONS_H

#include <condition_variable>
#include <deque>
#include <mutex>

#include "mqc_fes_intf.h"
#include "platform/status.h"

namespace platform {

/// Calls the callbacks of asynchronous calls, in order, on a thread of its own.
class Completions {
 public:
  /// Starts the thread unless it runs, and reports when that fails.
  TarnStatus start();
  /// Hands the thread a callback; start() has succeeded.
  void post(RpcAsyncCallback callback, u32 status, void* userData);
  /// Waits for all that was posted so far.
  TarnStatus drain();

 private:
  struct Completion {
    RpcAsyncCallback callback;
    u32 status;
    void* userData;
  };

  void run();
  Completion take();

  std::mutex mutex_;
  std::condition_variable posted_;
  std::condition_variable done_;
  std::deque<Completion> pending_;
  u64 postedCount_ = 0;
  u64 doneCount_ = 0;
  bool running_ = false;
};

}  // namespace platform

#endif
