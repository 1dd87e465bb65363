#ifndef SERVICE_DELAYS_H
#define SERVICE_DELAYS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>

#include "script/script.h"

namespace service {

/// Has acts wait for their time, on one thread. Each runs exactly once. Safe from any thread; an
/// act may call any function.
class Delays {
 public:
  using Clock = std::chrono::steady_clock;
  using Act = std::function<void()>;

  /// The time of acts that wait until they are hastened.
  static constexpr Clock::time_point never = Clock::time_point::max();

  Delays();
  /// Runs what waits still.
  ~Delays();
  Delays(const Delays&) = delete;
  Delays& operator=(const Delays&) = delete;

  /// Has the thread run an act of the owner's when it is time.
  void later(Clock::time_point when, const void* owner, Act act);
  /// Runs the acts of the owner's that wait, at once and on the caller's thread.
  void hasten(const void* owner);
  /// From now on the thread runs every act at once. Returns whether some waited.
  bool end();

 private:
  using Place = std::pair<Clock::time_point, std::uint64_t>;  // acts of one time keep their order
  struct Waiting {
    const void* owner;
    Act act;
  };

  // These are called with the mutex held.
  Act take(const Place& place);
  void act(const Place& place, std::unique_lock<std::mutex>& lock);
  void await(std::unique_lock<std::mutex>& lock);

  void run();

  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::map<Place, Waiting> waiting_;
  std::set<std::pair<const void*, Place>> owned_;
  std::uint64_t number_ = 0;
  bool isHasty_ = false;
  bool isLast_ = false;
  std::thread thread_;
};

/// When an answer that is chosen now is to be sent; nothing: at once.
std::optional<Delays::Clock::time_point> timeOf(const script::Answer& answer);

}  // namespace service

#endif
