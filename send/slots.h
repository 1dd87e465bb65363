#ifndef SEND_SLOTS_H
#define SEND_SLOTS_H

#include <semaphore.h>

#include <atomic>
#include <vector>

#include "send/clock.h"

namespace send {

class Load;

/// A place for a call that is under way; what its callback gets.
struct Slot {
  Load* load = nullptr;
  u64 intended = 0;  ///< when the call was to start
  std::atomic<bool> underWay = false;
  Slot* next = nullptr;  ///< in the list of free ones
};

/// The slots of a load. One thread takes them, any may return them; neither allocates.
class Slots {
 public:
  Slots(std::size_t count, Load* load);
  Slots(const Slots&) = delete;
  Slots& operator=(const Slots&) = delete;
  ~Slots();

  /// A free slot; waits for one until a time of CLOCK_MONOTONIC, then nullptr.
  Slot* take(u64 until);
  void put(Slot* slot) noexcept;

 private:
  std::vector<Slot> slots_;
  sem_t free_;
  Slot* mine_ = nullptr;                   // free, and known to the taking thread
  std::atomic<Slot*> returned_ = nullptr;  // free since it last looked
};

}  // namespace send

#endif
