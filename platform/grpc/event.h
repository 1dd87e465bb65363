#ifndef PLATFORM_GRPC_EVENT_H
#define PLATFORM_GRPC_EVENT_H

#include <atomic>

namespace delivery {

/// An operation of gRPC's, whose end it reports through the poller's queue.
class Event {
 public:
  /// The tag of an operation that is about to begin, with everything it needs in place.
  void* tag() {
    // gRPC's queue orders what was before and what is after; this shows it to ThreadSanitizer.
    order_.store(true, std::memory_order_release);
    return this;
  }
  static void end(void* tag, bool ok) {
    auto* const event = static_cast<Event*>(tag);
    static_cast<void>(event->order_.load(std::memory_order_acquire));
    event->happened(ok);
  }

 protected:
  ~Event() = default;

 private:
  virtual void happened(bool ok) = 0;

  std::atomic<bool> order_ = false;
};

}  // namespace delivery

#endif
