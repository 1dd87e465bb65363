#ifndef SERVICE_SIGNALS_H
#define SERVICE_SIGNALS_H

#include <csignal>

namespace service {

/// What somebody wants.
enum class Wish { nothing, report, end };

/// SIGINT, SIGTERM and SIGHUP, as something to read. Made before there are other threads, it leaves
/// the signals to the one that reads.
class Signals {
 public:
  Signals();
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  /// Can be read when a signal has come.
  int descriptor() const { return descriptor_; }
  /// What the next signal that has come wants. SIGHUP is the end where a terminal that the process
  /// was started at, as one of its first three descriptors, has gone.
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
