#ifndef PLATFORM_COMPLETIONS_H
#define PLATFORM_COMPLETIONS_H

#include <condition_variable>
#include <list>
#include <mutex>

#include "mqc_fes_intf.h"
#include "platform/status.h"

namespace platform {

/// Calls the callbacks of asynchronous calls, in order, on a thread of its own.
class Completions {
 public:
  struct Completion {
    RpcAsyncCallback callback;
    void* userData;
    u32 status;
  };

  /// Starts the thread unless it runs, and reports when that fails.
  TarnStatus start();
  /// Hands the thread a callback, alone in its list; start() has succeeded.
  void post(std::list<Completion> one, u32 status) noexcept;
  /// Waits for all that was posted so far.
  TarnStatus drain();

 private:
  void run();
  Completion take();

  std::mutex mutex_;
  std::condition_variable posted_;
  std::condition_variable done_;
  std::list<Completion> pending_;
  u64 postedCount_ = 0;
  u64 doneCount_ = 0;
  bool running_ = false;
};

}  // namespace platform

#endif
