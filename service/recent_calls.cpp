#include "service/recent_calls.h"

#include <algorithm>

namespace service {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::steady_clock;

namespace {

/// A time of the clock that is never set, as the time of day.
std::chrono::system_clock::time_point timeOf(steady_clock::time_point since) {
  const auto passed = steady_clock::now() - since;
  return std::chrono::system_clock::now() -
         duration_cast<std::chrono::system_clock::duration>(passed);
}

}  // namespace

std::uint64_t RecentCalls::add(RecentCall call, std::optional<reader::Bytes> message) {
  Found added{std::move(call), nullptr};
  added.call.time = timeOf(added.call.since);
  if (message && message->size() <= longestMessage) {
    added.message =
        std::make_shared<const std::vector<std::uint8_t>>(message->begin(), message->end());
  }
  std::vector<Message> dropped;  // freed when the lock is
  const std::lock_guard lock(mutex_);
  added.call.number = ++calls_;
  added.call.change = ++changes_;
  Count& count = counts_[added.call.method];
  ++count.calls;
  ++count.underWay;
  Found& place = placeOf(calls_);
  drop(place, dropped);
  std::swap(place, added);
  if (place.message) bytes_ += place.message->size();
  firstKept_ = std::max(firstKept_, firstOfLatest());
  for (; bytes_ > mostBytes; ++firstKept_) drop(placeOf(firstKept_), dropped);
  return calls_;
}

void RecentCalls::drop(Found& place, std::vector<Message>& dropped) {
  if (!place.message) return;
  bytes_ -= place.message->size();
  dropped.push_back(std::move(place.message));
}

void RecentCalls::end(std::uint64_t number, const reader::Schema::Method* method,
                      std::optional<std::uint32_t> status) {
  const steady_clock::time_point now = steady_clock::now();
  const std::lock_guard lock(mutex_);
  Count& count = counts_[method];
  --count.underWay;
  if (status != 0u) ++count.failed;
  RecentCall& call = placeOf(number).call;
  if (call.number != number) return;
  call.change = ++changes_;
  call.end = RecentCall::End{status, duration_cast<microseconds>(now - call.since)};
}

RecentCalls::News RecentCalls::since(std::uint64_t change) const {
  News news;
  news.changed.reserve(mostCalls);
  const std::lock_guard lock(mutex_);
  news.calls = calls_;
  news.change = changes_;
  news.counts = counts_;
  for (std::uint64_t number = firstOfLatest(); number <= calls_; ++number) {
    const RecentCall& call = placeOf(number).call;
    if (call.change > change) news.changed.push_back(call);
  }
  return news;
}

std::optional<RecentCalls::Found> RecentCalls::find(std::uint64_t number) const {
  const std::lock_guard lock(mutex_);
  const Found& place = placeOf(number);
  if (number == 0 || place.call.number != number) return std::nullopt;
  return place;
}

}  // namespace service
