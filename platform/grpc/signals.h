#ifndef PLATFORM_GRPC_SIGNALS_H
#define PLATFORM_GRPC_SIGNALS_H

#include <pthread.h>
#include <signal.h>

namespace delivery {

/// Blocks the calling thread's signals while it lives. A thread inherits the mask of the thread
/// that starts it, and gRPC starts threads in any call: so signals reach the program's own threads
/// alone. Fault signals stay unblocked: they belong to the thread that faults.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) {
      sigdelset(&signals, fault);
    }
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace delivery

#endif
