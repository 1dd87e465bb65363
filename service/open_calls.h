#ifndef SERVICE_OPEN_CALLS_H
#define SERVICE_OPEN_CALLS_H

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace service {

/// Counts the calls that are open, unary ones and streams: each takes memory, whether its messages
/// arrive or not, and has to end with the service. Safe from any thread.
class OpenCalls {
 public:
  enum class Entry { open, tooMany, ending };

  /// Counts a call; only one that is open is to be counted out with leave().
  Entry enter();
  void leave();

  /// From now on, no call is let in.
  void close();
  /// Waits until all calls have left, or none leaves for that long; ten seconds at most.
  void wait(std::chrono::milliseconds patience);

 private:
  std::mutex mutex_;
  std::condition_variable left_;
  int open_ = 0;
  bool isEnding_ = false;
};

}  // namespace service

#endif
