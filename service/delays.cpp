#include "service/delays.h"

namespace service {

Delays::Delays() : thread_([this] { run(); }) {}

Delays::~Delays() {
  end();
  {
    const std::lock_guard lock(mutex_);
    isLast_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Delays::later(Clock::time_point when, const void* owner, Act act) {
  const std::lock_guard lock(mutex_);
  const Place place{when, number_++};
  owned_.emplace(owner, place);
  waiting_.emplace(place, Waiting{owner, std::move(act)});
  if (waiting_.begin()->first == place) changed_.notify_one();
}

void Delays::hasten(const void* owner) {
  std::unique_lock lock(mutex_);
  for (;;) {
    const auto next = owned_.lower_bound({owner, Place{}});
    if (next == owned_.end() || next->first != owner) return;
    act(next->second, lock);
  }
}

bool Delays::end() {
  const std::lock_guard lock(mutex_);
  isHasty_ = true;
  changed_.notify_one();
  return !waiting_.empty();
}

Delays::Act Delays::take(const Place& place) {
  const auto found = waiting_.find(place);
  Act act = std::move(found->second.act);
  owned_.erase({found->second.owner, found->first});
  waiting_.erase(found);
  return act;
}

/// Runs an act without the lock.
void Delays::act(const Place& place, std::unique_lock<std::mutex>& lock) {
  Act taken = take(place);
  lock.unlock();
  taken();
  taken = nullptr;  // what it holds may lock
  lock.lock();
}

/// Waits until the first act's time, or for a change.
void Delays::await(std::unique_lock<std::mutex>& lock) {
  const auto next = waiting_.empty() ? never : waiting_.begin()->first.first;
  if (next == never) return changed_.wait(lock);
  changed_.wait_until(lock, next);
}

void Delays::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    if (waiting_.empty() && isLast_) return;
    const bool isDue =
        !waiting_.empty() && (isHasty_ || waiting_.begin()->first.first <= Clock::now());
    if (!isDue) {
      await(lock);
      continue;
    }
    act(waiting_.begin()->first, lock);
  }
}

std::optional<Delays::Clock::time_point> timeOf(const script::Answer& answer) {
  if (answer.kind == script::Answer::Kind::drop) return Delays::never;
  if (answer.delay.count() == 0) return {};
  return Delays::Clock::now() + answer.delay;
}

}  // namespace service
