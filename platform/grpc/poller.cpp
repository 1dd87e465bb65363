#include "platform/grpc/poller.h"

#include "platform/grpc/event.h"
#include "platform/grpc/start.h"

namespace delivery {

Poller& poller() {
  static Poller* const only = withThread<Poller>();
  return *only;
}

void Poller::run() {
  void* event = nullptr;
  bool ok = false;
  while (queue_.Next(&event, &ok)) static_cast<Event*>(event)->happened(ok);
}

}  // namespace delivery
