#include "send/load.h"

#include <sys/prctl.h>

#include <algorithm>

namespace send {
namespace {

/// How soon a wait looks whether the schedule has ended.
constexpr u64 slice = 100 * millisecond;

/// How long before the first call a load is made, so that what runs beside it has started.
constexpr u64 preparation = 5 * millisecond;

}  // namespace

Load::Load(const LoadPlan& plan, std::vector<LoadCall> calls, LoadClock& clock)
    : plan_(plan),
      calls_(std::move(calls)),
      clock_(clock),
      schedule_(plan, clock.now() + preparation),
      places_(plan.inFlight, this) {}

void Load::send() {
  prctl(PR_SET_TIMERSLACK, 1);  // without, the kernel wakes 50 microseconds late
  u64 number = 0;
  for (; schedule_.has(number); ++number) {
    const LoadCall& call = calls_[number % calls_.size()];
    const u64 intended = schedule_.at(number);
    if (!sleepUntil(intended)) break;
    Place* const place = call.isOneway ? nullptr : takePlace();
    if (place != nullptr)
      sendAsync(call, *place, intended);
    else if (call.isOneway)
      sendOneway(call, intended);
    else
      break;
  }
  sentAt_ = std::max(clock_.now(), std::min(schedule_.at(number), schedule_.end()));
}

bool Load::settle() {
  const u64 start = clock_.now();
  while (ended_.calls() < started_ && !isImpatient_ && clock_.now() - start < plan_.patience) {
    clock_.sleepUntil(clock_.now() + millisecond);
  }
  return ended_.calls() >= started_;
}

void Load::interrupt() noexcept {
  if (schedule_.end() <= clock_.now() || sentAt_ > 0) isImpatient_ = true;
  schedule_.endAt(clock_.now());
}

/// Returns whether a call may still start.
bool Load::sleepUntil(u64 time) {
  u64 now = clock_.now();
  for (; now < time; now = clock_.now()) {
    if (time >= schedule_.end()) return false;
    clock_.sleepUntil(std::min(time, now + slice));
  }
  return now < schedule_.closing();
}

/// A place, nullptr where there was none in time: before the sending closes, and while calls end.
Place* Load::takePlace() {
  const u64 latest = clock_.now() + plan_.patience;
  while (true) {
    const u64 now = clock_.now();
    const u64 last = std::min(schedule_.closing(), latest);
    Place* const place = places_.take(std::min(last, now + slice));
    if (place != nullptr || now >= last) return place;
  }
}

void Load::sendOneway(const LoadCall& call, u64 intended) {
  intended = begin(intended);
  const u32 status = call.send(nullptr, nullptr);
  end(status, intended, false);
}

void Load::sendAsync(const LoadCall& call, Place& place, u64 intended) {
  place.intended = begin(intended);
  place.underWay = true;
  const u32 status = call.send(onEnd, &place);
  if (status != 0) endPlace(status, place, false);  // without a callback
}

/// Returns the time that the call's latency is counted from.
u64 Load::begin(u64 intended) {
  ++started_;
  const u64 now = clock_.now();
  if (!schedule_.hasRate()) return now;
  latestStart_ = std::max<u64>(latestStart_, now - intended);
  return intended;
}

void Load::onEnd(u32 status, void* place) {
  auto* const ended = static_cast<Place*>(place);
  ended->load->endPlace(status, *ended, true);
}

/// Runs on threads of the platform. A call that it reports twice counts once.
void Load::endPlace(u32 status, Place& place, bool isAnswered) noexcept {
  if (!place.underWay.exchange(false)) return;
  end(status, place.intended, isAnswered);
  places_.put(&place);
}

void Load::end(u32 status, u64 intended, bool isAnswered) noexcept {
  const u64 now = clock_.now();
  if (isAnswered) latencies_.add(now - intended);
  endedAt_ = now;
  ended_.add(status);
}

}  // namespace send
