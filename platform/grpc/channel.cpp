#include "platform/grpc/channel.h"

#include <atomic>
#include <utility>

#include "platform/grpc/callbacks.h"
#include "platform/grpc/connection.h"
#include "platform/grpc/connectivity.h"
#include "platform/grpc/signals.h"
#include "platform/grpc/watchdog.h"

namespace delivery {
namespace {

std::atomic<u64> sequences = 0;

}  // namespace

Channel::Channel(Settings settings) : settings_(std::move(settings)), stats_(settings_.target) {
  const SignalsBlocked blocked;
  connection_ = connect(settings_);
  stub_ = std::make_unique<grpc::GenericStub>(connection_);
}

Channel::~Channel() {
  const SignalsBlocked blocked;
  stub_.reset();
  connection_.reset();
}

bool Channel::watch(TarnGrpcStateCallback callback, void* data) {
  std::unique_lock lock(mutex_);
  if (closed_) return false;
  states_->tell(callback, data);
  if (callback == nullptr || std::exchange(isFollowed_, true)) return true;
  lock.unlock();
  Connectivity::follow(shared_from_this());
  return true;
}

void Channel::connectionIs(grpc_connectivity_state state) {
  if (state == GRPC_CHANNEL_CONNECTING) states_->report(TARN_GRPC_CONNECTING);
  if (state == GRPC_CHANNEL_TRANSIENT_FAILURE) states_->report(TARN_GRPC_FAILED);
  if (state != GRPC_CHANNEL_READY) return;
  if (!settings_.stream) return states_->report(TARN_GRPC_READY);
  stream_.keepOpen(shared_from_this());
}

bool Channel::hasRoom(u64 bytes) const {
  // A single message is accepted whatever its size: there would be no more room later.
  const bool fits = bytes_ == 0 || bytes_ + bytes <= settings_.maxBytes;
  return places_ < settings_.maxInFlight && fits;
}

u32 Channel::enter(const std::shared_ptr<Call>& call) {
  const std::lock_guard lock(mutex_);
  if (closed_) return TARN_STATUS_INVALID;
  if (call->ending.isWaitedFor) {
    call->sequence = nextSequence();
    waitedFor_.emplace(call->sequence, call);
    stats_.accept(call->bytes);
    return TARN_STATUS_OK;
  }
  if (!hasRoom(call->bytes)) {
    stats_.refuse();
    return TARN_GRPC_BUSY;
  }
  call->sequence = nextSequence();
  const auto number = underWay_.insert(call->sequence).first;
  try {
    deadlines_.emplace(Key{call->deadline, call->sequence}, call);
  } catch (...) {
    underWay_.erase(number);
    throw;
  }
  ++places_;
  bytes_ += call->bytes;
  stats_.accept(call->bytes);
  watchdog().watch(call->deadline);
  return TARN_STATUS_OK;
}

void Channel::withdraw(const std::shared_ptr<Call>& call) {
  stats_.end({TARN_STATUS_NO_RESOURCES, false, ""}, Clock::now() - call->begin);
  if (!call->ending.isWaitedFor) {
    giveBytesBack(call->bytes);
    givePlaceBack();
  }
  leave(call);
}

void Channel::ended(std::shared_ptr<Call> call, CallList& called) {
  if (!call->ending.isWaitedFor) giveBytesBack(call->bytes);
  if (call->ending.callback != nullptr) return called.add(std::move(call));
  if (!call->ending.isWaitedFor) givePlaceBack();
  leave(std::move(call));
}

void Channel::givePlaceBack() {
  const std::lock_guard lock(mutex_);
  --places_;
}

void Channel::giveBytesBack(u64 bytes) {
  const std::lock_guard lock(mutex_);
  bytes_ -= bytes;
}

void Channel::leave(std::shared_ptr<Call> call) {
  const Key key{call->deadline, call->sequence};
  std::unique_lock lock(mutex_);
  auto watched = deadlines_.extract(key);
  auto waitedFor = waitedFor_.extract(key.second);
  lock.unlock();
  if (!watched.empty()) watched.mapped().reset();
  if (!waitedFor.empty()) waitedFor.mapped().reset();
  call.reset();  // before the wake-up: only the watchdog may still hold the call
  lock.lock();
  underWay_.erase(key.second);
  left_.notify_all();
}

std::shared_ptr<Call> Channel::due(Clock::time_point now, Clock::time_point& next) {
  const std::lock_guard lock(mutex_);
  next = Clock::time_point::max();
  if (deadlines_.empty()) return nullptr;
  next = deadlines_.begin()->first.first;
  return next > now ? nullptr : std::move(deadlines_.extract(deadlines_.begin()).mapped());
}

Clock::time_point Channel::expire(Clock::time_point now) {
  Clock::time_point next;
  while (const auto call = due(now, next)) call->stop(grpc::DEADLINE_EXCEEDED);
  return next;
}

bool Channel::waitForCalls(u64 last, Clock::time_point until) {
  std::unique_lock lock(mutex_);
  return left_.wait_until(lock, until,
                          [&] { return underWay_.empty() || *underWay_.begin() > last; });
}

bool Channel::waitForAll(Clock::time_point until) {
  std::unique_lock lock(mutex_);
  return left_.wait_until(lock, until, [&] { return underWay_.empty() && waitedFor_.empty(); });
}

std::shared_ptr<Call> Channel::waitedForAfter(u64 number) {
  const std::lock_guard lock(mutex_);
  const auto found = waitedFor_.upper_bound(number);
  return found == waitedFor_.end() ? nullptr : found->second;
}

bool Channel::close(std::chrono::milliseconds patience) {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }
  const bool isQuiet = waitForAll(Clock::now() + patience);
  Clock::time_point none;
  while (const auto call = due(Clock::time_point::max(), none)) call->stop(grpc::CANCELLED);
  for (u64 number = 0; const auto call = waitedForAfter(number);) {
    number = call->sequence;
    call->stop(grpc::CANCELLED);
  }
  stream_.close(Clock::now() + patience);
  const bool haveLeft = waitForAll(Clock::now() + patience);
  states_->report(TARN_GRPC_CLOSED);
  states_->settle(Clock::now() + patience);
  states_->tell(nullptr, nullptr);
  return haveLeft && isQuiet;
}

bool Channel::isClosed() {
  const std::lock_guard lock(mutex_);
  return closed_;
}

u64 nextSequence() {
  return ++sequences;
}

u64 lastSequence() {
  return sequences.load();
}

}  // namespace delivery
