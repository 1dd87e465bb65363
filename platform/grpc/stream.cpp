#include "platform/grpc/stream.h"

#include <utility>

#include "platform/grpc/envelope.h"
#include "platform/grpc/exchange.h"
#include "platform/grpc/failure.h"
#include "shared/report.h"

namespace delivery {
namespace {

/// After so long the calls go on over another stream, so that they reach other connections and
/// services in time: services limit the age of connections, with a grace that is longer.
constexpr std::chrono::seconds rotationTime{20};

/// A stream that ends sooner is opened again with the connection's next state, not at once.
constexpr std::chrono::seconds shortestTime{1};

/// A service that leaves so many calls unanswered keeps no count.
constexpr std::size_t mostLate = 100'000;

/// Why this side ends a stream: the status of calls that were sent, the code of those that were
/// not.
using Verdict = std::pair<u32, grpc::StatusCode>;
constexpr Verdict rulesBroken = {TARN_GRPC_GARBAGE, grpc::INTERNAL};
constexpr Verdict noMemory = {u32{TARN_GRPC_TRANSPORT} + grpc::RESOURCE_EXHAUSTED,
                              grpc::RESOURCE_EXHAUSTED};

Result brokenBy(u32 kind, grpc::StatusCode code, std::string_view reason = "") {
  return failed(kind + static_cast<u32>(code), reason);
}

/// The code of a broken stream's calls. The end of one that should go on means that the service is
/// away.
grpc::StatusCode codeOf(const grpc::Status& status) {
  switch (status.error_code()) {
    case grpc::OK:
    case grpc::CANCELLED:
    case grpc::DEADLINE_EXCEEDED:
      return grpc::UNAVAILABLE;
    default:
      return status.error_code();
  }
}

Result resultOf(const mqc::MqcAnswer& answer) {
  if (answer.code() == grpc::OK) return {answer.status(), true, {}};
  if (answer.code() > grpc::UNAUTHENTICATED) return failed(TARN_GRPC_GARBAGE);
  return brokenBy(TARN_GRPC_TRANSPORT, grpc::StatusCode(answer.code()),
                  answer.reason() == nullptr ? "" : answer.reason()->string_view());
}

}  // namespace

u32 StreamCall::send(const std::shared_ptr<StreamCall>& call) {
  return call->channel->stream().send(call);
}

void StreamCall::stop(grpc::StatusCode why) {
  channel->stream().stop(*this, why);
}

u32 Stream::send(const std::shared_ptr<StreamCall>& call) {
  Channel& channel = *call->channel;
  std::unique_lock lock(mutex_);
  std::shared_ptr<Exchange> fresh;
  if (current_ == nullptr) fresh = Exchange::make(call->channel);
  if (const u32 refused = channel.enter(call)) return refused;
  try {
    queue_.add(call);
  } catch (...) {
    channel.withdraw(call);
    throw;
  }
  if (fresh == nullptr) {
    push(std::move(lock));
  } else {
    open(std::move(lock), fresh);
  }
  return TARN_STATUS_OK;
}

void Stream::keepOpen(const std::shared_ptr<Channel>& channel) {
  std::unique_lock lock(mutex_);
  if (channel->isClosed()) return;
  if (current_ == nullptr) return reopen(std::move(lock), channel);
  if (!current_->isGreeted) return;
  channel->states().report(TARN_GRPC_READY);
  // gRPC stops its pings on a connection over which nothing else is sent, and would not notice that
  // the service has vanished.
  current_->isAged = Clock::now() - current_->since > rotationTime;
  push(std::move(lock));
}

void Stream::reopen(std::unique_lock<std::mutex> lock, const std::shared_ptr<Channel>& channel) {
  std::shared_ptr<Exchange> fresh;
  try {
    fresh = Exchange::make(channel);
  } catch (const std::exception&) {
    return queue_.endWaiting(failed(TARN_STATUS_NO_RESOURCES));
  }
  open(std::move(lock), fresh);
}

void Stream::open(std::unique_lock<std::mutex> lock, const std::shared_ptr<Exchange>& fresh) {
  current_ = fresh;
  lock.unlock();
  try {
    Exchange::start(fresh);
  } catch (const std::exception&) {
    lock.lock();
    if (current_ == fresh) current_.reset();
    queue_.endWaiting(failed(TARN_STATUS_NO_RESOURCES));
  }
}

void Stream::push(std::unique_lock<std::mutex> lock) {
  if (current_ == nullptr || !current_->mayWrite()) return;
  const std::shared_ptr<Exchange> exchange = current_;
  if (!queue_.hasWaiting() && !exchange->isAged) return;
  try {
    if (Clock::now() - exchange->since > rotationTime && !queue_.hasLate()) {
      // The next stream might be faster: nothing is sent over it before all answers are there.
      if (!queue_.hasUnanswered()) rotate(std::move(lock));
      return;
    }
    const auto calls = queue_.take();
    if (calls.empty()) return;  // those that waited have ended
    exchange->isWriting = true;
    lock.unlock();
    const grpc::ByteBuffer envelope = envelopeOf(calls);
    for (const auto& call : calls) call->dropMessage();
    exchange->write(envelope);
  } catch (const std::exception&) {
    if (!lock.owns_lock()) lock.lock();
    exchange->isWriting = false;
    if (!exchange->isLost) return refuse(std::move(lock), *exchange, noMemory, "");
    lock.unlock();
    exchange->finish();
  }
}

void Stream::rotate(std::unique_lock<std::mutex> lock) {
  const auto fresh = Exchange::make(current_->channel());
  const std::shared_ptr<Exchange> oldest = std::exchange(former_, current_);
  const std::shared_ptr<Exchange> old = std::exchange(current_, fresh);
  old->isWriting = true;
  lock.unlock();
  old->endWriting();
  if (oldest != nullptr) oldest->cancel();
  lock.lock();
  if (current_ == fresh) open(std::move(lock), fresh);
}

void Stream::stop(StreamCall& call, grpc::StatusCode why) {
  std::unique_lock lock(mutex_);
  queue_.stop(call, brokenBy(TARN_GRPC_TRANSPORT, why), brokenBy(TARN_GRPC_NOT_SENT, why));
  if (queue_.late() > mostLate && current_ != nullptr) {
    const std::shared_ptr<Exchange> exchange = current_;
    refuse(std::move(lock), *exchange, rulesBroken, "answers too little");
  } else {
    push(std::move(lock));  // if its answer was all that was waited for
  }
}

void Stream::close(Clock::time_point latest) {
  std::unique_lock lock(mutex_);
  const std::shared_ptr<Exchange> last = current_;
  const std::shared_ptr<Exchange> former = former_;
  const bool mayEnd = last != nullptr && last->mayWrite() && !queue_.hasUnanswered();
  if (mayEnd) last->isWriting = last->isClosed = true;
  lock.unlock();
  if (former != nullptr) former->cancel();
  if (last == nullptr) return;
  mayEnd ? last->endWriting() : last->cancel();
  lock.lock();
  const auto hasEnded = [&] { return current_ != last; };
  if (ended_.wait_until(lock, latest, hasEnded)) return;
  lock.unlock();
  last->cancel();
}

/// Ends a stream that cannot go on.
void Stream::refuse(std::unique_lock<std::mutex> lock, Exchange& exchange,
                    std::pair<u32, grpc::StatusCode> statuses, const std::string& fault) {
  if (exchange.verdict) return;
  exchange.verdict = {failed(statuses.first, fault),
                      brokenBy(TARN_GRPC_NOT_SENT, statuses.second, fault)};
  lock.unlock();
  if (!fault.empty()) shared::report("the service %s: the stream is ended", fault.c_str());
  exchange.cancel();
}

void Stream::started(Exchange& exchange, bool ok) {
  ok ? exchange.read() : exchange.finish();
}

void Stream::received(Exchange& exchange, bool ok) {
  std::unique_lock lock(mutex_);
  if (!ok) {
    exchange.isLost = true;
    const bool isLast = !exchange.isWriting;
    lock.unlock();
    if (isLast) exchange.finish();
    return;
  }
  try {
    const std::string fault = take(exchange);
    queue_.flush();
    if (fault.empty()) {
      push(std::move(lock));
    } else {
      refuse(std::move(lock), exchange, rulesBroken, fault);
    }
  } catch (const std::exception&) {
    queue_.flush();
    refuse(std::move(lock), exchange, noMemory, "");
  }
  exchange.read();
}

/// Returns what is wrong with a message from the service.
std::string Stream::take(Exchange& exchange) {
  if (current_.get() != &exchange || exchange.verdict) return "";
  Answers message(exchange.message());
  const mqc::MqcAnswers* const root = message.root();
  if (root == nullptr) return "sends what is no MqcAnswers";
  if (!exchange.isGreeted) {
    if (root->instance() == 0) return "sends no instance number first";
    exchange.isGreeted = true;
    exchange.since = Clock::now();
    States& states = exchange.channel()->states();
    const u64 last = std::exchange(instance_, root->instance());
    if (last != 0 && last != instance_) states.report(TARN_GRPC_RESTARTED);
    states.report(TARN_GRPC_READY);
  }
  if (root->answers() == nullptr) return "";
  for (const mqc::MqcAnswer* answer : *root->answers()) {
    if (queue_.answer(answer->sequence(), resultOf(*answer))) continue;
    return "answers call " + std::to_string(answer->sequence()) + ", which waits for none";
  }
  return "";
}

void Stream::sent(Exchange& exchange, bool ok) {
  std::unique_lock lock(mutex_);
  exchange.isWriting = false;
  exchange.isClosed = exchange.isClosed || !ok;
  if (!exchange.isLost) return push(std::move(lock));
  lock.unlock();
  exchange.finish();
}

void Stream::finished(Exchange& exchange, bool) {
  const std::shared_ptr<Channel> channel = exchange.channel();  // longer than the stream's mutex
  const std::shared_ptr<Exchange> self = exchange.release();
  std::unique_lock lock(mutex_);
  if (former_ == self) former_.reset();
  if (current_ != self) return;
  current_.reset();
  ended_.notify_all();
  end(exchange);
  if (channel->isClosed()) return;
  channel->states().report(TARN_GRPC_FAILED);
  // One that was good is worth another try; after that, the connection's next state is waited for.
  const bool wasGood = exchange.isGreeted && Clock::now() - exchange.since > shortestTime;
  const bool isKept = wasGood && channel->states().isWatched();
  if (queue_.hasWaiting() || isKept) reopen(std::move(lock), channel);
}

/// Ends the calls of a broken stream.
void Stream::end(const Exchange& exchange) {
  if (exchange.verdict) {
    queue_.endSent(exchange.verdict->first);
    return queue_.endWaiting(exchange.verdict->second);
  }
  const grpc::StatusCode code = codeOf(exchange.status());
  const std::string& reason = exchange.status().error_message();
  queue_.endSent(brokenBy(TARN_GRPC_TRANSPORT, code, reason));
  // Where callers wait for a service, those that were not sent go on to wait for the next.
  const bool goesOn = exchange.isGreeted && code == grpc::UNAVAILABLE &&
                      exchange.channel()->settings().waitForReady;
  if (!goesOn) queue_.endWaiting(brokenBy(TARN_GRPC_NOT_SENT, code, reason));
}

}  // namespace delivery
