#include "platform/grpc/poller.h"

#include "platform/grpc/event.h"
#include "platform/grpc/start.h"

namespace delivery {

Poller& poller() {
  static Poller* const only = withThread<Poller>();
  return *only;
}

void Poller::run() {
  void* tag = nullptr;
  bool ok = false;
  while (queue_.Next(&tag, &ok)) Event::end(tag, ok);
}

}  // namespace delivery
