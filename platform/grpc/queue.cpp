#include "platform/grpc/queue.h"

#include <algorithm>

#include "platform/grpc/callbacks.h"
#include "platform/grpc/channel.h"

namespace delivery {
namespace {

/// A message to the service holds so many bytes of calls, or a single longer one.
constexpr std::size_t enoughBytes = 256 << 10;

/// So many calls may be kept in vain.
constexpr std::size_t fewCalls = 1'000;

Result copyOf(const Result& failure) {
  return failed(failure.status, failure.reason);
}

}  // namespace

void Queue::add(const std::shared_ptr<StreamCall>& call) {
  calls_.push_back({call->sequence, call});
  call->phase_ = StreamCall::Phase::waiting;
}

std::vector<std::shared_ptr<StreamCall>> Queue::take() {
  std::vector<std::shared_ptr<StreamCall>> taken;
  taken.reserve(calls_.size() - sent_);
  for (std::size_t bytes = 0; sent_ < calls_.size(); ++sent_) {
    const Entry& next = calls_[sent_];
    if (next.isOver) continue;
    if (!taken.empty() && bytes + next.call->bytes > enoughBytes) break;
    bytes += next.call->bytes;
    next.call->phase_ = StreamCall::Phase::sent;
    taken.push_back(next.call);
  }
  return taken;
}

bool Queue::answer(u64 sequence, Result&& result) {
  const auto found = find(sequence);
  const auto index = static_cast<std::size_t>(found - calls_.begin());
  if (index >= sent_ || found->sequence != sequence || found->isOver) return false;
  found->isOver = true;
  if (found->call == nullptr) --late_;
  end(*found, std::move(result));
  settle();
  return true;
}

void Queue::stop(StreamCall& call, const Result& ifSent, const Result& ifNot) {
  if (call.phase_ == StreamCall::Phase::ended) return;
  const bool isSent = call.phase_ == StreamCall::Phase::sent;
  const auto found = find(call.sequence);
  found->isOver = !isSent;
  end(*found, copyOf(isSent ? ifSent : ifNot));
  settle();
  flush();
}

void Queue::endSent(const Result& result) {
  for (std::size_t i = 0; i < sent_; ++i) {
    calls_[i].isOver = true;
    end(calls_[i], copyOf(result));
  }
  late_ = 0;
  settle();
  flush();
}

void Queue::endWaiting(const Result& result) {
  for (Entry& entry : calls_) {
    entry.isOver = true;
    end(entry, copyOf(result));
  }
  settle();
  flush();
}

void Queue::flush() {
  callbacks().post(std::move(called_));
}

std::deque<Queue::Entry>::iterator Queue::find(u64 sequence) {
  const auto isBefore = [](const Entry& entry, u64 number) { return entry.sequence < number; };
  return std::lower_bound(calls_.begin(), calls_.end(), sequence, isBefore);
}

void Queue::end(const Entry& entry, Result&& result) {
  if (entry.call == nullptr || entry.call->phase_ == StreamCall::Phase::ended) return;
  entry.call->phase_ = StreamCall::Phase::ended;
  entry.call->finish(std::move(result));
}

void Queue::settle() {
  const auto hasEnded = [](const Entry& entry) {
    return entry.call->phase_ == StreamCall::Phase::ended;
  };
  for (; handedOn_ < calls_.size() && hasEnded(calls_[handedOn_]); ++handedOn_) {
    if (!calls_[handedOn_].isOver) ++late_;
    std::shared_ptr<StreamCall> call = std::move(calls_[handedOn_].call);
    Channel& channel = *call->channel;
    channel.ended(std::move(call), called_);
  }
  for (; handedOn_ > 0 && calls_.front().isOver; --handedOn_) {
    calls_.pop_front();
    if (sent_ > 0) --sent_;
  }
  compact();
}

/// Forgets calls that are over behind one that is late, once they are the most.
void Queue::compact() {
  if (handedOn_ < 2 * late_ + fewCalls) return;
  const auto at = [this](std::size_t i) { return calls_.begin() + static_cast<std::ptrdiff_t>(i); };
  const auto isOver = [](const Entry& entry) { return entry.isOver; };
  const auto sentOver = std::count_if(at(0), at(std::min(sent_, handedOn_)), isOver);
  sent_ -= static_cast<std::size_t>(sentOver);
  calls_.erase(std::remove_if(at(0), at(handedOn_), isOver), at(handedOn_));
  handedOn_ = late_;
}

}  // namespace delivery
