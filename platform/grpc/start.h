#ifndef PLATFORM_GRPC_START_H
#define PLATFORM_GRPC_START_H

#include <memory>
#include <thread>

#include "platform/grpc/signals.h"

namespace platform {

/// Starts gRPC and the runtime's threads, unless they are; throws when that fails, and is tried
/// again by the next call.
void makeReady();

/// Whether this is a child of a process that had begun to use gRPC.
bool isForked();

/// A new object whose run() is on a thread of its own, which nobody joins: a callback that hangs,
/// or that calls exit(), must not hang the exit.
template <class Runner>
Runner* withThread() {
  const SignalsBlocked blocked;
  auto runner = std::make_unique<Runner>();
  std::thread(&Runner::run, runner.get()).detach();
  return runner.release();
}

}  // namespace platform

#endif
