#include "send/places.h"

#include <cerrno>

namespace send {

Places::Places(std::size_t count, Load* load) : places_(count) {
  sem_init(&free_, 0, 0);
  for (Place& place : places_) {
    place.load = load;
    put(&place);
  }
}

Places::~Places() {
  sem_destroy(&free_);
}

Place* Places::take(u64 until) {
  const timespec limit = timespecOf(until);
  while (sem_clockwait(&free_, CLOCK_MONOTONIC, &limit) != 0) {
    if (errno != EINTR) return nullptr;
  }
  if (mine_ == nullptr) mine_ = returned_.exchange(nullptr, std::memory_order_acquire);
  Place* const place = mine_;
  mine_ = place->next;
  return place;
}

void Places::put(Place* place) noexcept {
  place->next = returned_.load(std::memory_order_relaxed);
  while (!returned_.compare_exchange_weak(place->next, place, std::memory_order_release)) {
  }
  sem_post(&free_);
}

}  // namespace send
