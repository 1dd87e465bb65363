#include "shared/section.h"

#include <atomic>
#include <cerrno>

namespace shared {
namespace {

// In the thread's own memory from its start: none is allocated for it in a signal handler.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool isInside = false;

}  // namespace

Section::Section(pthread_mutex_t& mutex) : mutex_(mutex), error_(errno), isEntered_(!isInside) {
  if (!isEntered_) return;
  isInside = true;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  ::pthread_mutex_lock(&mutex_);
}

Section::~Section() {
  if (isEntered_) {
    ::pthread_mutex_unlock(&mutex_);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    isInside = false;
  }
  errno = error_;
}

NoCancellation::NoCancellation() {
  ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_);
}

NoCancellation::~NoCancellation() {
  ::pthread_setcancelstate(before_, nullptr);
}

}  // namespace shared
