#ifndef PLATFORM_GRPC_POLLER_H
#define PLATFORM_GRPC_POLLER_H

#include <grpcpp/completion_queue.h>

namespace delivery {

/// Ends calls as gRPC reports them, on a thread of its own, which runs nothing of the program's.
class Poller {
 public:
  grpc::CompletionQueue& queue() { return queue_; }
  void run();

 private:
  grpc::CompletionQueue queue_;
};

/// The one of the process, its thread started; throws when there is none. Never destroyed: its
/// thread outlives exit().
Poller& poller();

}  // namespace delivery

#endif
