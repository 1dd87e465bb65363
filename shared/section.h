#ifndef SHARED_SECTION_H
#define SHARED_SECTION_H

#include <pthread.h>

namespace shared {

/// What stands between a caller and a platform does its own work in sections: under the lock, and
/// errno stays what it was. A section is not entered where a signal handler has interrupted one of
/// its thread: it would wait for itself. Sections are not nested, and hold no cancellation point.
class Section {
 public:
  explicit Section(pthread_mutex_t& mutex);
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;
  ~Section();
  bool isEntered() const { return isEntered_; }

 private:
  pthread_mutex_t& mutex_;
  const int error_;
  const bool isEntered_;
};

/// Around functions that are cancellation points: meanwhile the thread is not cancelled.
class NoCancellation {
 public:
  NoCancellation();
  NoCancellation(const NoCancellation&) = delete;
  NoCancellation& operator=(const NoCancellation&) = delete;
  ~NoCancellation();

 private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace shared

#endif
