// Acts that wait for their time: each runs once, whoever is first.

#include "service/delays.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using service::Delays;
using std::chrono::milliseconds;

/// What has run, in its order; from any thread.
class Ran {
 public:
  Delays::Act act(int number) {
    return [this, number] {
      const std::lock_guard lock(mutex_);
      numbers_.push_back(number);
      changed_.notify_all();
    };
  }
  /// Once so many have run.
  std::vector<int> numbers(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return numbers_.size() >= count; });
    return numbers_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<int> numbers_;
};

using Numbers = std::vector<int>;

TEST(Delays, ActsRunAtTheirTimesAndInTheirOrder) {
  Ran ran;
  Delays delays;
  const auto now = Delays::Clock::now();
  delays.later(Delays::never, &ran, ran.act(0));
  delays.later(now + milliseconds(60), &ran, ran.act(3));
  delays.later(now + milliseconds(40), &ran, ran.act(1));
  delays.later(now + milliseconds(40), &ran, ran.act(2));
  EXPECT_EQ(ran.numbers(3), (Numbers{1, 2, 3}));
  EXPECT_GE(Delays::Clock::now(), now + milliseconds(60));
  delays.end();
  EXPECT_EQ(ran.numbers(4), (Numbers{1, 2, 3, 0}));
  delays.later(Delays::never, &ran, ran.act(4));
  EXPECT_EQ(ran.numbers(5).back(), 4) << "an act that comes after the end";
}

TEST(Delays, OwnersHastenTheirOwn) {
  Ran ran;
  {
    Delays delays;
    int one = 0, other = 0;
    for (int number = 1; number <= 3; ++number) {
      delays.later(Delays::never, number == 2 ? &other : &one, ran.act(number));
    }
    delays.hasten(&one);
    EXPECT_EQ(ran.numbers(0), (Numbers{1, 3})) << "they have run when it returns";
    delays.hasten(&one);
  }
  EXPECT_EQ(ran.numbers(0), (Numbers{1, 3, 2})) << "what waits at the end";
}

TEST(Delays, EachActRunsOnceWhoeverIsFirst) {
  constexpr int rounds = 500;
  constexpr std::size_t owners = 4;
  std::vector<std::atomic<int>> runs(owners * rounds);
  {
    Delays delays;
    std::vector<std::thread> threads;
    for (std::size_t owner = 0; owner < owners; ++owner) {
      threads.emplace_back([&, owner] {
        for (std::size_t round = 0; round < rounds; ++round) {
          std::atomic<int>& count = runs[owner * rounds + round];
          const auto soon = Delays::Clock::now() + std::chrono::microseconds(round % 64);
          delays.later(round % 3 == 0 ? Delays::never : soon, &runs[owner], [&count] { ++count; });
          delays.hasten(&runs[(owner + round) % owners]);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  for (const std::atomic<int>& count : runs) EXPECT_EQ(count, 1);
}

}  // namespace
