#ifndef SEND_CALLS_H
#define SEND_CALLS_H

// Calls, and how they have ended.

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "mqc_fes_intf.h"
#include "send/input.h"
#include "send/library.h"

namespace send {

using Clock = std::chrono::steady_clock;

/// The end of a call.
struct Answer {
  std::shared_ptr<const Entry> entry;
  u32 status;
  std::string meaning;
  std::chrono::microseconds time;
};

/// The answer as a line of JSON, with its end.
std::string lineOf(const Answer& answer);

/// Makes calls on one thread, and collects their answers, those of callbacks as well. It outlives
/// the calls: a callback may run late.
class Calls {
 public:
  /// @param longest how long a call can take
  Calls(const Library& library, std::chrono::milliseconds longest)
      : library_(library), longest_(longest) {}

  /// Makes an entry's call; a synchronous one has been answered then. Waits where the platform has
  /// too many under way. The entry is kept until its answer was taken.
  void make(const std::shared_ptr<const Entry>& entry);
  /// The answers that have come since the last time.
  std::deque<Answer> take();
  /// The same, once there are some, or at that time.
  std::deque<Answer> takeBy(Clock::time_point time);
  /// The same, once there are some, none is to come, or no answer can come any more.
  std::deque<Answer> await();
  /// Calls whose answers have not come.
  std::size_t open();

 private:
  struct Call {
    Calls& calls;
    const methods::Method& method;
    std::shared_ptr<const Entry> entry;  // nullptr: it has been answered
    Clock::time_point begin;
  };

  u32 submit(const Entry& entry, Call& call) const;
  void end(Call& call, u32 status);
  static void onEnd(u32 status, void* call);

  const Library& library_;
  const std::chrono::milliseconds longest_;
  std::mutex mutex_;
  std::condition_variable come_;
  std::deque<Call> calls_;  // asynchronous ones that have ended as well: some end twice
  std::deque<Answer> answers_;
  std::size_t open_ = 0;
};

/// How many answers have which status.
using Counts = std::map<u32, std::size_t>;
/// "3 with status 0, 1 with status 5"
std::string sumOf(const Counts& counts);

}  // namespace send

#endif
