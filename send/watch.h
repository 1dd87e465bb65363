#ifndef SEND_WATCH_H
#define SEND_WATCH_H

#include <thread>
#include <vector>

#include "send/load.h"

namespace send {

/// What happened in an interval of a load; times in nanoseconds.
struct Sample {
  u64 from;  ///< since the load's start
  u64 to;
  u64 started;
  u64 ended;
  u64 failed;    ///< ended with another status than 0
  u64 underWay;  ///< at the interval's end
  u64 p50;       ///< of the latencies of calls that ended in it
  u64 p99;
  u64 most;
};

/// A load in intervals, the first of which begins with it.
class Intervals {
 public:
  /// @param length of an interval, in nanoseconds
  Intervals(const Load& load, u64 length);

  /// When the interval ends.
  u64 next() const { return next_; }
  /// Ends the interval now, and begins another.
  Sample end();

 private:
  /// The counts of the load up to a time.
  struct State {
    u64 at;
    u64 started;
    u64 ended;
    u64 failed;
    Distribution latencies;
  };

  State read() const;

  const Load& load_;
  u64 length_;
  State before_;
  u64 next_;
};

/// Holds SIGINT and SIGTERM back in this thread and those that it starts, for a Watch to read.
void holdSignals();

/// A thread beside a load: takes samples, writes the line of progress, and passes signals on. The
/// first one ends the sending, the next one the waiting for calls under way, another the process.
class Watch {
 public:
  /// @param interval      of the samples, in nanoseconds
  /// @param showsProgress a line on stderr, written anew each second
  Watch(Load& load, u64 interval, bool showsProgress);
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() { finish(); }

  /// Ends the thread. Returns all samples; the last one may be shorter.
  const std::vector<Sample>& finish();
  /// Whether a signal has come; known after finish().
  bool wasInterrupted() const { return signals_ > 0; }

 private:
  void run();
  void waitUntil(u64 time);
  void show(const Sample& last) const;

  Load& load_;
  u64 interval_;
  bool showsProgress_;
  unsigned signals_ = 0;
  std::vector<Sample> samples_;
  std::atomic<bool> isFinished_ = false;
  std::thread thread_;
};

}  // namespace send

#endif
