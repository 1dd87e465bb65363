#ifndef PLATFORM_GRPC_EVENT_H
#define PLATFORM_GRPC_EVENT_H

namespace delivery {

/// What gRPC reports through the poller's queue: the tag of an operation.
class Event {
 public:
  virtual void happened(bool ok) = 0;

 protected:
  ~Event() = default;
};

}  // namespace delivery

#endif
