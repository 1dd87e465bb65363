#ifndef PLATFORM_GRPC_CALL_H
#define PLATFORM_GRPC_CALL_H

#include <grpcpp/generic/generic_stub.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "mqc_fes_intf.h"

namespace delivery {

class Channel;

/// Deadlines do not depend on the wall clock, by which gRPC waits.
using Clock = std::chrono::steady_clock;

/// Who is notified when a call has ended.
struct Ending {
  bool isWaitedFor;
  RpcAsyncCallback callback;  ///< may be NULL
  void* userData;
};

/// A request and its reply. Lives until gRPC has ended it and nobody waits for it.
class Call {
 public:
  static std::shared_ptr<Call> make(Channel& channel, const MethodId& method,
                                    Clock::time_point latest, const Ending& end);

  /// Hands the request to gRPC; the poller ends the call. Throws on allocation failure.
  static void start(const std::shared_ptr<Call>& call, const grpc::ByteBuffer& request);

  /// Waits for the end; false when the deadline passes first.
  bool wait();
  /// The deadline has passed: gRPC ends the call at once.
  void expire();
  /// Returns how it ended, and sets this thread's failure text.
  u32 outcome() const;

  /// Called by the poller: wakes the waiting thread, hands the call to the callbacks, or drops it.
  void end();

  Channel& channel;
  const Clock::time_point deadline;
  const Ending ending;
  u64 sequence = 0;
  u64 bytes = 0;  ///< of the request

 private:
  Call(Channel& to, const MethodId& method, Clock::time_point latest, const Ending& whose);

  // gRPC's queue orders caller and poller; the lock shows that to ThreadSanitizer.
  void keep(std::list<std::shared_ptr<Call>>& self);
  std::list<std::shared_ptr<Call>> release();
  void wake();

  const std::string path_;
  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientAsyncResponseReader<grpc::ByteBuffer>> reader_;
  grpc::ByteBuffer reply_;
  grpc::Status status_;
  std::atomic<bool> expired_ = false;

  /// The call itself while gRPC has it; in a list so that it moves to another without allocation.
  std::list<std::shared_ptr<Call>> self_;

  std::mutex mutex_;
  std::condition_variable woken_;
  bool ended_ = false;
};

}  // namespace delivery

#endif
