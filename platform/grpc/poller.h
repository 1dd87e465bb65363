#ifndef PLATFORM_GRPC_POLLER_H
#define PLATFORM_GRPC_POLLER_H

#include <grpcpp/completion_queue.h>

namespace delivery {

/// Passes on what gRPC reports, on a thread of its own, which runs no code of the program.
class Poller {
 public:
  grpc::CompletionQueue& queue() { return queue_; }
  void run();

 private:
  grpc::CompletionQueue queue_;
};

/// The process's only one, its thread running; throws when no thread can be started. Never
/// destroyed: its thread outlives exit().
Poller& poller();

}  // namespace delivery

#endif
