#ifndef SEND_PLACES_H
#define SEND_PLACES_H

#include <semaphore.h>

#include <atomic>
#include <vector>

#include "send/clock.h"

namespace send {

class Load;

/// A place for a call that is under way; what its callback gets.
struct Place {
  Load* load = nullptr;
  u64 intended = 0;  ///< when the call was to start
  std::atomic<bool> underWay = false;
  Place* next = nullptr;  ///< in the list of free ones
};

/// The places of a load. One thread takes them, any may return them; neither allocates.
class Places {
 public:
  Places(std::size_t count, Load* load);
  Places(const Places&) = delete;
  Places& operator=(const Places&) = delete;
  ~Places();

  /// A free place; waits for one until a time of CLOCK_MONOTONIC, then nullptr.
  Place* take(u64 until);
  void put(Place* place) noexcept;

 private:
  std::vector<Place> places_;
  sem_t free_;
  Place* mine_ = nullptr;                   // free, and known to the taking thread
  std::atomic<Place*> returned_ = nullptr;  // free since it last looked
};

}  // namespace send

#endif
