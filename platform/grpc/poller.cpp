#include "platform/grpc/poller.h"

#include "platform/grpc/call.h"
#include "platform/grpc/start.h"

namespace delivery {

Poller& poller() {
  static Poller* const only = withThread<Poller>();
  return *only;
}

void Poller::run() {
  void* call = nullptr;
  bool ok = false;
  while (queue_.Next(&call, &ok)) static_cast<Call*>(call)->end();
}

}  // namespace delivery
