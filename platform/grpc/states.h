#ifndef PLATFORM_GRPC_STATES_H
#define PLATFORM_GRPC_STATES_H

#include <list>

#include "platform/grpc/call.h"
#include "tarn/grpc.h"

namespace delivery {

/// Reports a channel's states to the function that asks for them, on the callbacks' thread. Of
/// states that it has not been told yet the last one counts, besides a restart.
class States : public std::enable_shared_from_this<States> {
 public:
  /// Sets the function; nullptr ends the reports.
  void tell(TarnGrpcStateCallback callback, void* data);
  bool isWatched();
  void report(TarnGrpcState state) noexcept;
  /// Waits until everything is told; at the latest until that time.
  void settle(Clock::time_point latest);

  /// On the callbacks' thread: takes back its place in their list, and tells.
  void run(std::list<std::shared_ptr<States>>& place, bool mayTell);

 private:
  struct News {
    bool isRestarted = false;
    TarnGrpcState state{};  // none
  };
  News take(std::list<std::shared_ptr<States>>& place);

  std::mutex mutex_;
  std::condition_variable settled_;
  TarnGrpcStateCallback callback_ = nullptr;
  void* data_ = nullptr;
  TarnGrpcState last_{};
  News news_;
  bool isTelling_ = false;
  std::list<std::shared_ptr<States>> place_{1};  // so that a report allocates nothing
};

}  // namespace delivery

#endif
