#ifndef SERVICE_SIGNALS_H
#define SERVICE_SIGNALS_H

#include <csignal>

namespace service {

/// What a signal asks for.
enum class Wish { nothing, report, end };

/// SIGINT, SIGTERM and SIGHUP as a descriptor. To be made before other threads are started: it
/// blocks the signals, and one thread reads them.
class Signals {
 public:
  Signals();
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  /// Readable when a signal has arrived.
  int descriptor() const { return descriptor_; }
  /// What the next signal asks for. SIGHUP means the end if a terminal among the process's first
  /// three descriptors is gone.
  Wish next() const;
  /// From now on SIGINT and SIGTERM end the process at once.
  static void letGo();

 private:
  bool isTerminalGone() const;

  int descriptor_;
  bool wereTerminals_[3];
};

}  // namespace service

#endif
