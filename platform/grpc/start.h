#ifndef PLATFORM_GRPC_START_H
#define PLATFORM_GRPC_START_H

#include <string>
#include <system_error>
#include <thread>

#include "platform/grpc/failure.h"
#include "platform/grpc/signals.h"

namespace delivery {

/// Starts gRPC and the runtime's threads once; throws when that fails, and the next call tries
/// again.
void makeReady();

/// Whether this is a child of a process that had begun to use gRPC.
bool isForked();

/// The process's only Runner, whose run() is on a thread of its own. It is never joined: a callback
/// that hangs, or calls exit(), must not hang the exit. Throws a SetupError when no thread can be
/// started.
template <class Runner>
Runner* withThread() {
  const SignalsBlocked blocked;
  static Runner* const runner =
      new Runner;  // kept even without a thread: to destroy it, gRPC would wait for its own
  try {
    std::thread(&Runner::run, runner).detach();
  } catch (const std::system_error& error) {
    throw SetupError(std::string("no thread could be started: ") + error.what());
  }
  return runner;
}

}  // namespace delivery

#endif
