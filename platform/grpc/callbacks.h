#ifndef PLATFORM_GRPC_CALLBACKS_H
#define PLATFORM_GRPC_CALLBACKS_H

#include "platform/grpc/call.h"

namespace delivery {

/// Runs the callbacks of calls that have ended, one after the other, on a thread of its own: a
/// callback that hangs holds up no call that somebody waits for.
class Callbacks {
 public:
  /// Takes the one call of the list, which has ended.
  void post(std::list<std::shared_ptr<Call>>& one) noexcept;
  /// Waits until all calls made so far that nobody waits for have ended.
  u32 drain(Clock::time_point until);
  /// Lets what was handed over end, for a second at most; after that no callback begins.
  void atExit();

  void run();

 private:
  std::shared_ptr<Call> take();
  void finish(std::shared_ptr<Call> call);
  bool mayBegin();
  /// Lets no other callback begin.
  void silence();
  static void drop(std::list<std::shared_ptr<Call>>& calls);

  std::mutex mutex_;
  std::condition_variable posted_;
  std::list<std::shared_ptr<Call>> pending_;
  bool silent_ = false;
};

/// The one of the process, its thread started; throws when there is none. Never destroyed: its
/// thread outlives exit().
Callbacks& callbacks();

}  // namespace delivery

#endif
