#ifndef PLATFORM_GRPC_CALLBACKS_H
#define PLATFORM_GRPC_CALLBACKS_H

#include "platform/grpc/states.h"

namespace delivery {

/// How long calls that are under way have at the end of the process, or of their channel.
inline constexpr std::chrono::milliseconds lastTime{1'000};

/// Runs the callbacks of ended calls, one after the other, on a thread of its own: a callback that
/// hangs does not delay synchronous calls. In between, the thread writes the file of counts.
class Callbacks {
 public:
  /// Takes over calls that have ended.
  void post(CallList&& calls) noexcept;
  /// Takes over the only entry of the list: there is a state to be told.
  void post(std::list<std::shared_ptr<States>>& one) noexcept;
  /// Waits until all asynchronous and one-way calls made so far have ended.
  u32 drain(Clock::time_point until);
  /// Whether this thread is running one.
  static bool isRunning();
  /// Waits for at most a second until all asynchronous and one-way calls have ended; after that no
  /// callback begins.
  void atExit();

  void run();

 private:
  void turn();
  void finish(std::shared_ptr<Call> call);
  bool mayBegin();
  /// Prevents further callbacks.
  void silence();
  static void drop(std::shared_ptr<Call> call);

  std::mutex mutex_;
  std::condition_variable posted_;
  CallList pending_;
  std::list<std::shared_ptr<States>> news_;
  bool silent_ = false;
};

/// The process's only one, its thread running; throws when no thread can be started. Never
/// destroyed: its thread outlives exit().
Callbacks& callbacks();

}  // namespace delivery

#endif
