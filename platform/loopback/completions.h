#ifndef PLATFORM_LOOPBACK_COMPLETIONS_H
#define PLATFORM_LOOPBACK_COMPLETIONS_H

#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

#include "mqc_fes_intf.h"
#include "platform/loopback/recording.h"
#include "tarn/status.h"

namespace loopback {

/// Calls the callbacks of asynchronous calls, each when it is due, on a thread of its own.
class Completions {
 public:
  struct Completion {
    RpcAsyncCallback callback;
    void* userData;
    u32 status;
    RecordedCall recorded;
    std::chrono::steady_clock::time_point due;
    u64 number;  ///< in the order of posting, from 1
  };

  /// Starts the thread unless it runs; a failure is reported.
  TarnStatus start();
  /// Hands the thread the only callback of the list; start() has succeeded. It runs in its turn, or
  /// later: others overtake it until the delay is over.
  void post(std::list<Completion> one, u32 status, std::chrono::milliseconds delay) noexcept;
  /// Waits for all callbacks posted so far.
  TarnStatus drain();

  // For a fork. The child, still locked, starts empty: pending callbacks are its parent's.
  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }
  void startAfresh();

 private:
  void run();
  void runFirst();
  Completion take();
  /// Waits until the first callback is due.
  void awaitFirst(std::unique_lock<std::mutex>& lock);
  bool haveReturned(u64 last) const;
  /// Waits a while for all callbacks posted so far; after that no callback begins.
  void atExit();

  bool onWorker() const { return worker_ == std::this_thread::get_id(); }

  std::mutex mutex_;
  std::condition_variable posted_;
  std::condition_variable done_;
  std::list<Completion> pending_;  ///< in the order in which they are due
  u64 postedCount_ = 0;
  u64 running_ = 0;         ///< the number of the callback that runs, 0: none
  std::thread::id worker_;  ///< none until it was started
  bool exitIsWatched_ = false;
  bool closed_ = false;  ///< no callback begins any more
};

}  // namespace loopback

#endif
