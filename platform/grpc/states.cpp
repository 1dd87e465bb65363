#include "platform/grpc/states.h"

#include <utility>

#include "platform/grpc/callbacks.h"

namespace delivery {

void States::tell(TarnGrpcStateCallback callback, void* data) {
  std::unique_lock lock(mutex_);
  callback_ = callback;
  data_ = data;
  last_ = {};
  news_ = {};
}

bool States::isWatched() {
  const std::lock_guard lock(mutex_);
  return callback_ != nullptr;
}

void States::report(TarnGrpcState state) noexcept {
  const std::lock_guard lock(mutex_);
  if (callback_ == nullptr || state == last_ || last_ == TARN_GRPC_CLOSED) return;
  if (state == TARN_GRPC_RESTARTED) {
    news_.isRestarted = true;
  } else {
    last_ = news_.state = state;
  }
  if (place_.empty()) return;  // it is in the callbacks' list
  place_.front() = shared_from_this();
  callbacks().post(place_);
}

States::News States::take(std::list<std::shared_ptr<States>>& place) {
  const std::lock_guard lock(mutex_);
  place.front().reset();
  place_.splice(place_.end(), place);
  isTelling_ = true;
  return std::exchange(news_, {});
}

void States::run(std::list<std::shared_ptr<States>>& place, bool mayTell) {
  const News news = take(place);
  std::unique_lock lock(mutex_);
  for (const TarnGrpcState state :
       {news.isRestarted ? TARN_GRPC_RESTARTED : TarnGrpcState{}, news.state}) {
    const TarnGrpcStateCallback callback = callback_;
    void* const data = data_;
    if (state == TarnGrpcState{} || callback == nullptr || !mayTell) continue;
    lock.unlock();
    callback(state, data);
    lock.lock();
  }
  isTelling_ = false;
  settled_.notify_all();
}

void States::settle(Clock::time_point latest) {
  std::unique_lock lock(mutex_);
  settled_.wait_until(lock, latest, [this] { return !place_.empty() && !isTelling_; });
}

}  // namespace delivery
