#include "platform/grpc/channel.h"

#include "platform/grpc/connection.h"
#include "platform/grpc/failure.h"
#include "platform/grpc/start.h"
#include "platform/grpc/watchdog.h"

namespace delivery {
namespace {

std::atomic<Channel*> first = nullptr;
std::atomic<u64> sequences = 0;

/// Prepares the process, makes a channel and adds it to the list. Holds no lock: gRPC may be slow.
Channel* made(Settings settings) {
  makeReady();
  auto channel = std::make_unique<Channel>(std::move(settings));
  channel->next = first.load();
  while (!first.compare_exchange_weak(channel->next, channel.get())) continue;
  return channel.release();
}

}  // namespace

Channel::Channel(Settings settings)
    : settings_(std::move(settings)),
      stub_(std::make_unique<grpc::GenericStub>(connect(settings_))) {}

bool Channel::hasRoom(u64 bytes) const {
  // A single message is accepted whatever its size: there would be no more room later.
  const bool fits = bytes_ == 0 || bytes_ + bytes <= settings_.maxBytes;
  return places_ < settings_.maxInFlight && fits;
}

bool Channel::enter(const std::shared_ptr<Call>& call) {
  {
    const std::lock_guard lock(mutex_);
    if (!hasRoom(call->bytes)) return false;
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
  }
  watchdog().watch(call->deadline);
  return true;
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
  lock.unlock();
  if (!watched.empty()) watched.mapped().reset();
  call.reset();  // before the wake-up: only the watchdog may still hold the call
  lock.lock();
  underWay_.erase(key.second);
  left_.notify_all();
}

Clock::time_point Channel::expire(Clock::time_point now) {
  for (;;) {
    std::map<Key, std::shared_ptr<Call>>::node_type late;
    {
      const std::lock_guard lock(mutex_);
      if (deadlines_.empty()) return Clock::time_point::max();
      const Clock::time_point earliest = deadlines_.begin()->first.first;
      if (earliest > now) return earliest;
      late = deadlines_.extract(deadlines_.begin());
    }
    late.mapped()->expire();
  }
}

bool Channel::waitForCalls(u64 last, Clock::time_point until) {
  std::unique_lock lock(mutex_);
  return left_.wait_until(lock, until,
                          [&] { return underWay_.empty() || *underWay_.begin() > last; });
}

Channel* defaultChannel() {
  static std::atomic<Channel*> kept = nullptr;
  if (Channel* const channel = kept.load()) return channel;
  // Of several made at once the first is used; the others stay idle.
  Channel* const channel = made(settingsOfEnvironment());
  Channel* earlier = nullptr;
  return kept.compare_exchange_strong(earlier, channel) ? channel : earlier;
}

Channel* openChannel(const TarnGrpcOptions& options) {
  return made(settingsOf(options));
}

Channel* openedChannel(void* opt) {
  for (Channel* channel = firstChannel(); channel != nullptr; channel = channel->next) {
    if (channel == opt) return channel;
  }
  throw SetupError("opt does not come from TarnGrpc_open");
}

Channel* firstChannel() {
  return first.load();
}

u64 nextSequence() {
  return ++sequences;
}

u64 lastSequence() {
  return sequences.load();
}

}  // namespace delivery
