#include "service/signals.h"

#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <initializer_list>

namespace service {
namespace {

sigset_t setOf(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) sigaddset(&set, signal);
  return set;
}

}  // namespace

Signals::Signals() : wereTerminals_{::isatty(0) == 1, ::isatty(1) == 1, ::isatty(2) == 1} {
  const sigset_t signals = setOf({SIGINT, SIGTERM, SIGHUP});
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  descriptor_ = ::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
}

Signals::~Signals() {
  ::close(descriptor_);
}

Wish Signals::next() const {
  signalfd_siginfo signal{};
  if (::read(descriptor_, &signal, sizeof signal) != sizeof signal) return Wish::nothing;
  return signal.ssi_signo == SIGHUP && !isTerminalGone() ? Wish::report : Wish::end;
}

void Signals::letGo() {
  const sigset_t signals = setOf({SIGINT, SIGTERM});
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool Signals::isTerminalGone() const {
  for (const int file : {0, 1, 2}) {
    if (wereTerminals_[file] && ::isatty(file) == 0) return true;
  }
  return false;
}

}  // namespace service
