#ifndef SEND_LOAD_H
#define SEND_LOAD_H

#include <functional>
#include <vector>

#include "send/histogram.h"
#include "send/places.h"
#include "send/schedule.h"
#include "send/tally.h"

namespace send {

/// A message ready to be sent, as often as a load wants.
struct LoadCall {
  /// Sends it and returns the platform's status; of a one-way message, without a callback.
  std::function<u32(RpcAsyncCallback cb, void* userData)> send;
  bool isOneway;
};

/// Sends calls in turn, round and round, by a schedule, and counts how they end. A latency runs
/// from the time when the call was to start, so that a call that starts late, because those before
/// it delayed it, counts as the slow one that it is.
class Load {
 public:
  /// @param calls at least one
  Load(const LoadPlan& plan, std::vector<LoadCall> calls, LoadClock& clock);

  /// Makes the calls: returns when the schedule has ended, or when no call has ended for as long as
  /// the plan says while another waits for its place. Calls that are due at the end and wait for a
  /// place have a second more.
  void send();
  /// Waits until no call is under way, as long as the plan says. Callbacks of calls that are then
  /// left may still come: the load must remain. Returns whether none is left.
  bool settle();
  /// Ends the sending; when it has ended, the waiting. One other thread may call it.
  void interrupt() noexcept;

  const Schedule& schedule() const { return schedule_; }
  /// Calls that have been made.
  u64 started() const { return started_; }
  /// How far behind its time a call started at most.
  u64 latestStart() const { return latestStart_; }
  /// When the sending ended.
  u64 sentAt() const { return sentAt_; }
  /// When the last call ended.
  u64 endedAt() const { return endedAt_; }
  /// How calls ended, those that the platform refused included.
  const Tally& ended() const { return ended_; }
  /// The latencies of those that it called back for.
  const Histogram& latencies() const { return latencies_; }
  LoadClock& clock() const { return clock_; }

 private:
  static void onEnd(u32 status, void* place);

  bool sleepUntil(u64 time);
  Place* takePlace();
  void sendOneway(const LoadCall& call, u64 intended);
  void sendAsync(const LoadCall& call, Place& place, u64 intended);
  u64 begin(u64 intended);
  void end(u32 status, u64 intended, bool isAnswered) noexcept;
  void endPlace(u32 status, Place& place, bool isAnswered) noexcept;

  LoadPlan plan_;
  std::vector<LoadCall> calls_;
  LoadClock& clock_;
  Schedule schedule_;
  Places places_;
  Tally ended_;
  Histogram latencies_;
  std::atomic<u64> started_ = 0;
  std::atomic<u64> latestStart_ = 0;
  std::atomic<u64> sentAt_ = 0;
  std::atomic<u64> endedAt_ = 0;
  std::atomic<bool> isImpatient_ = false;
};

}  // namespace send

#endif
