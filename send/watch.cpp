#include "send/watch.h"

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>

#include "send/figures.h"

namespace send {
namespace {

/// How long the end of a watch takes at most.
constexpr u64 longestWait = 50 * millisecond;

sigset_t heldSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

}  // namespace

Intervals::Intervals(const Load& load, u64 length)
    : load_(load),
      length_(length),
      before_{load.schedule().start(), 0, 0, 0, Histogram().read()},
      next_(load.schedule().start() + length) {}

Sample Intervals::end() {
  State now = read();
  const u64 start = load_.schedule().start();
  const Distribution latencies = now.latencies.since(before_.latencies);
  const Sample sample = {before_.at - start,
                         now.at - start,
                         now.started - before_.started,
                         now.ended - before_.ended,
                         now.failed - before_.failed,
                         now.started - now.ended,
                         latencies.percentile(50),
                         latencies.percentile(99),
                         latencies.most()};
  while (next_ <= now.at) next_ += length_;
  before_ = std::move(now);
  return sample;
}

Intervals::State Intervals::read() const {
  const u64 ended = load_.ended().calls();  // before those that started: never more than they
  const u64 failed = std::min(load_.ended().failed(), ended);
  const u64 now = std::max(load_.clock().now(), load_.schedule().start());
  return {now, load_.started(), ended, failed, load_.latencies().read()};
}

void holdSignals() {
  const sigset_t signals = heldSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

Watch::Watch(Load& load, u64 interval, bool showsProgress)
    : load_(load), interval_(interval), showsProgress_(showsProgress), thread_([this] { run(); }) {}

const std::vector<Sample>& Watch::finish() {
  isFinished_ = true;
  if (thread_.joinable()) thread_.join();
  return samples_;
}

void Watch::run() {
  Intervals samples(load_, interval_);
  Intervals seconds(load_, second);
  while (!isFinished_) {
    waitUntil(std::min(samples.next(), seconds.next()));
    const u64 now = load_.clock().now();
    if (now >= samples.next()) samples_.push_back(samples.end());
    if (now < seconds.next()) continue;
    const Sample last = seconds.end();
    if (showsProgress_) show(last);
  }
  const Sample rest = samples.end();
  if (rest.started > 0 || rest.ended > 0) samples_.push_back(rest);
  if (showsProgress_) std::fputs("\r\x1B[K", stderr);
}

/// Waits until that time or for a while, and hears signals.
void Watch::waitUntil(u64 time) {
  const u64 now = load_.clock().now();
  const timespec limit = timespecOf(time > now ? std::min(time - now, longestWait) : 0);
  const sigset_t held = heldSignals();
  if (sigtimedwait(&held, nullptr, &limit) < 0) return;
  load_.interrupt();
  if (++signals_ == 2) pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
}

void Watch::show(const Sample& last) const {
  const double length = static_cast<double>(last.to - last.from) / static_cast<double>(second);
  std::fprintf(stderr, "\r%s s  %s calls  %s/s  p99 %s ms  %s under way  %s failed\x1B[K",
               grouped(last.to / second).c_str(), grouped(load_.ended().calls()).c_str(),
               grouped(static_cast<u64>(static_cast<double>(last.ended) / length)).c_str(),
               milliseconds(last.p99).c_str(), grouped(last.underWay).c_str(),
               grouped(load_.ended().failed()).c_str());
}

}  // namespace send
