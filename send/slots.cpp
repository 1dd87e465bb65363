#include "send/slots.h"

#include <cerrno>

namespace send {

Slots::Slots(std::size_t count, Load* load) : slots_(count) {
  sem_init(&free_, 0, 0);
  for (Slot& slot : slots_) {
    slot.load = load;
    put(&slot);
  }
}

Slots::~Slots() {
  sem_destroy(&free_);
}

Slot* Slots::take(u64 until) {
  const timespec limit = timespecOf(until);
  while (sem_clockwait(&free_, CLOCK_MONOTONIC, &limit) != 0) {
    if (errno != EINTR) return nullptr;
  }
  if (mine_ == nullptr) mine_ = returned_.exchange(nullptr, std::memory_order_acquire);
  Slot* const slot = mine_;
  mine_ = slot->next;
  return slot;
}

void Slots::put(Slot* slot) noexcept {
  slot->next = returned_.load(std::memory_order_relaxed);
  while (!returned_.compare_exchange_weak(slot->next, slot, std::memory_order_release)) {
  }
  sem_post(&free_);
}

}  // namespace send
