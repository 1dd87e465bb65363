#ifndef PLATFORM_GRPC_COMPLETIONS_H
#define PLATFORM_GRPC_COMPLETIONS_H

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>

#include "platform/grpc/exchange.h"

namespace platform {

/// Calls that nobody waits for, and the one thread that ends them.
class Completions {
 public:
  /// Starts the thread, throws when there is none.
  void start();
  /// Hands a call over; the callback may be NULL. Returns TARN_GRPC_BUSY or 0.
  u32 begin(Channel& channel, const MethodId& method, const grpc::ByteBuffer& request,
            RpcAsyncCallback callback, void* userData);
  u32 drain(std::chrono::milliseconds time);

  /// Numbers a call that somebody waits for.
  u64 nextSequence() { return ++sequence_; }

 private:
  struct Call;

  void run();
  void end(Call* ended);
  u64 enter();
  void leave(u64 sequence);

  /// Lets what was handed over end, and no callback begin after that.
  void atExit();
  /// In a callback that ends the process: nobody else ends calls.
  void endRest();
  /// Besides the call whose callback runs.
  bool hasOthersUnderWay();

  grpc::CompletionQueue queue_;
  std::atomic<u64> sequence_ = 0;
  std::atomic<bool> silent_ = false;

  std::mutex mutex_;
  std::condition_variable left_;
  std::set<u64> underWay_;  ///< sequence numbers
};

/// The one of the process. Never destroyed: its thread outlives exit().
Completions& completions();

}  // namespace platform

#endif
