#ifndef PLATFORM_GRPC_CALLBACKS_H
#define PLATFORM_GRPC_CALLBACKS_H

#include "platform/grpc/call.h"

namespace delivery {

/// Runs the callbacks of ended calls, one after the other, on a thread of its own: a callback that
/// hangs does not delay synchronous calls.
class Callbacks {
 public:
  /// Takes over the only call of the list, which has ended.
  void post(std::list<std::shared_ptr<Call>>& one) noexcept;
  /// Waits until all asynchronous and one-way calls made so far have ended.
  u32 drain(Clock::time_point until);
  /// Waits for at most a second until all asynchronous and one-way calls have ended; after that no
  /// callback begins.
  void atExit();

  void run();

 private:
  std::shared_ptr<Call> take();
  void finish(std::shared_ptr<Call> call);
  bool mayBegin();
  /// Prevents further callbacks.
  void silence();
  static void drop(std::list<std::shared_ptr<Call>>& calls);

  std::mutex mutex_;
  std::condition_variable posted_;
  std::list<std::shared_ptr<Call>> pending_;
  bool silent_ = false;
};

/// The process's only one, its thread running; throws when no thread can be started. Never
/// destroyed: its thread outlives exit().
Callbacks& callbacks();

}  // namespace delivery

#endif
