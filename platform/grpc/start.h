#ifndef PLATFORM_GRPC_START_H
#define PLATFORM_GRPC_START_H

#include <string>
#include <system_error>
#include <thread>

#include "platform/grpc/failure.h"
#include "platform/grpc/signals.h"

namespace delivery {

/// Starts gRPC and the runtime's threads, unless they are; throws when that fails, and is tried
/// again by the next call.
void makeReady();

/// Whether this is a child of a process that had begun to use gRPC.
bool isForked();

/// The one Runner of the process, whose run() is on a thread of its own. Nobody joins it: a
/// callback that hangs, or that calls exit(), must not hang the exit. Throws a SetupError when
/// there is no thread.
template <class Runner>
Runner* withThread() {
  const SignalsBlocked blocked;
  static Runner* const runner =
      new Runner;  // stays where there is no thread: gRPC would wait for its own
  try {
    std::thread(&Runner::run, runner).detach();
  } catch (const std::system_error& error) {
    throw SetupError(std::string("no thread could be started: ") + error.what());
  }
  return runner;
}

}  // namespace delivery

#endif
