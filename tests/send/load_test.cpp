// A load: when its calls start, how they are counted, what is reported of them.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "send/load_report.h"
#include "send/pace.h"

namespace {

using namespace send;

/// A time that passes when the test says so, and a little with each look at it.
class FakeClock : public LoadClock {
 public:
  explicit FakeClock(u64 step = 0) : step_(step) {}
  u64 now() noexcept override { return time += step_; }
  void sleepUntil(u64 until) noexcept override { time = std::max(time, until); }

  u64 time = 1;

 private:
  u64 step_;
};

/// The numbers of the calls that were made.
std::vector<int> made;

/// An asynchronous call with that number.
LoadCall call(int number, std::function<u32(RpcAsyncCallback cb, void* userData)> send) {
  return {[=](RpcAsyncCallback cb, void* userData) {
            made.push_back(number);
            return send(cb, userData);
          },
          false};
}

std::string words(u32 status) {
  return status == 16 ? "</script><b>busy" : "status";
}

u64 sum(const std::vector<Bucket>& buckets) {
  u64 count = 0;
  for (const Bucket& bucket : buckets) count += bucket.count;
  return count;
}

void expectPercentiles(const Distribution& found, std::vector<u64> values) {
  std::sort(values.begin(), values.end());
  ASSERT_EQ(found.count(), values.size());
  for (const double percent : {0.0, 0.1, 50.0, 90.0, 99.0, 99.9, 99.99, 100.0}) {
    const double rank = std::ceil(percent / 100 * static_cast<double>(values.size()));
    const u64 exact = values[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
    EXPECT_GE(found.percentile(percent), exact) << percent;
    EXPECT_LE(found.percentile(percent) - exact, exact / 128) << percent;
  }
}

TEST(Pace, CallsAreAsFarApartAsTheyWereRecorded) {
  const auto due = [](double speed, std::vector<u64> recorded) {
    Pace pace(speed);
    for (u64& time : recorded) time = pace.next(time);
    return recorded;
  };
  using Times = std::vector<u64>;
  EXPECT_EQ(due(1, {7'000, 7'000, 9'000, 9'500}), (Times{0, 0, 2'000, 2'500}));
  EXPECT_EQ(due(0.5, {7'000, 9'000}), (Times{0, 4'000}));
  EXPECT_EQ(due(0, {7'000, 9'000}), (Times{0, 0}));
  EXPECT_EQ(due(2, {7'000, 9'000, 1'000, 3'000}), (Times{0, 1'000, 1'000, 2'000})) << "set back";
  EXPECT_LT(due(0.001, {0, ~u64{0}})[1], u64{1} << 62) << "later than any clock";
}

TEST(Histogram, PercentilesAreThoseOfTheSortedValues) {
  std::mt19937_64 random(1);
  Histogram histogram;
  std::vector<u64> early = {0, 1, 127, 128, 255, 256, 257, ~u64{0}}, late;
  for (int i = 0; i < 20'000; ++i) early.push_back(random() >> (random() % 64));
  for (int i = 0; i < 20'000; ++i) late.push_back(random() % 1'000'000 + 1'000'000);
  for (const u64 value : early) histogram.add(value);
  const Distribution before = histogram.read();
  for (const u64 value : late) histogram.add(value);
  expectPercentiles(before, early);
  expectPercentiles(histogram.read().since(before), late);
  EXPECT_EQ(before.most(), ~u64{0});
  EXPECT_EQ(Histogram().read().percentile(50), 0u);
  Histogram thousand;
  for (int i = 0; i < 1000; ++i) thousand.add(i < 999 ? 1 : 2);
  EXPECT_EQ(thousand.read().percentile(99.9), 1u);

  u64 end = 0;
  for (const Bucket& bucket : before.buckets()) {
    EXPECT_TRUE(end == 0 || bucket.from > end);
    end = bucket.to;
    const auto isInside = [&](u64 value) { return value >= bucket.from && value <= bucket.to; };
    EXPECT_EQ(bucket.count, std::count_if(early.begin(), early.end(), isInside)) << bucket.from;
  }
}

TEST(Schedule, CallsAreAtTheirTimesAndCounted) {
  const Schedule even({.rate = 5000, .duration = 30 * second}, 7);
  EXPECT_EQ(even.at(0), 7u);
  EXPECT_EQ(even.at(5'000'000'001), 7 + 1'000'000 * second + 200'000);
  EXPECT_EQ(even.due(), 150'000u);
  EXPECT_EQ(even.closing(), 31 * second + 7);
  const Schedule odd({.rate = 0.3, .duration = 10 * second}, 0);
  EXPECT_EQ(odd.due(), 3u);  // at 0, 3.3 and 6.7 s
  EXPECT_TRUE(odd.has(2) && !odd.has(3));
  Schedule counted({.rate = 1'000'000, .count = 12}, 0);
  EXPECT_EQ(counted.due(), 12u);
  EXPECT_EQ(counted.closing(), LoadPlan::unlimited);
  counted.endAt(4'500);
  EXPECT_EQ(counted.due(), 5u);
  EXPECT_EQ(Schedule({.duration = second}, 5).closing(), second + 5);
}

TEST(Load, LatencyCountsFromTheIntendedStart) {
  FakeClock clock;
  made.clear();
  const auto send = [&](RpcAsyncCallback cb, void* userData) {
    if (made.size() == 11) clock.time += 50 * millisecond;
    cb(0, userData);
    return 0u;
  };
  Load load({.rate = 1000, .count = 100, .inFlight = 2}, {call(1, send)}, clock);
  load.send();
  ASSERT_TRUE(load.settle());
  std::vector<u64> expected(50, 0);  // the eleventh holds up the 49 that follow
  for (u64 late = 1; late <= 50; ++late) expected.push_back(late * millisecond);
  expectPercentiles(load.latencies().read(), expected);
  EXPECT_EQ(load.latencies().read().most(), 50 * millisecond);
  EXPECT_EQ(load.latestStart(), 49 * millisecond);
  const LoadResult result = resultOf(load, {.rate = 1000}, words);
  EXPECT_EQ(result.length, 100 * millisecond);
  EXPECT_DOUBLE_EQ(result.rate(), 1000);
  EXPECT_TRUE(result.isSuccess());
}

TEST(Load, CountsHowCallsEndAndReportsIt) {
  FakeClock clock;
  made.clear();
  const auto send = [](RpcAsyncCallback cb, void* userData) {
    if (made.size() % 2 == 1) return 16u;                        // refused, and not called back
    for (int twice = 0; twice < 2; ++twice) cb(1040, userData);  // beside 16 in the counts
    return 0u;
  };
  LoadCall oneway = call(3, [](RpcAsyncCallback cb, void*) { return cb == nullptr ? 0u : 1u; });
  oneway.isOneway = true;
  Load load({.count = 9}, {call(1, send), call(2, send), oneway}, clock);
  load.send();
  ASSERT_TRUE(load.settle());
  EXPECT_EQ(made, (std::vector{1, 2, 3, 1, 2, 3, 1, 2, 3}));

  LoadResult result = resultOf(load, {}, words);
  EXPECT_FALSE(result.isSuccess());
  EXPECT_FALSE(LoadResult().isSuccess());  // without a call
  const auto report = nlohmann::json::parse(toText(loadJson(result)));
  EXPECT_EQ(report["calls"], 9);
  EXPECT_EQ(report["statuses"].dump(), R"([{"calls":3,"meaning":"status","status":0},)"
                                       R"({"calls":3,"meaning":"</script><b>busy","status":16},)"
                                       R"({"calls":3,"meaning":"status","status":1040}])");
  EXPECT_EQ(report["latency"]["calls"], 3);  // those that had an answer
  EXPECT_TRUE(report["wanted_rate"].is_null());
  EXPECT_EQ(loadPage(result).find("</script><b>"), std::string::npos);
  result.statuses[0].meaning = "\xFF";
  EXPECT_TRUE(nlohmann::json::accept(toText(loadJson(result))));
}

TEST(Load, CallsThatNeverEndKeepTheirPlacesAndAreReported) {
  FakeClock clock(millisecond);
  const auto send = [](RpcAsyncCallback, void*) { return 0u; };
  const LoadPlan plan = {.rate = 100, .duration = second, .inFlight = 3, .patience = 2 * second};
  Load load(plan, {call(1, send)}, clock);
  load.send();
  EXPECT_FALSE(load.settle());
  const LoadResult result = resultOf(load, plan, words);
  EXPECT_EQ(result.calls, 3u);
  EXPECT_EQ(result.neverEnded, 3u);
  EXPECT_EQ(result.notStarted, 97u);
  EXPECT_FALSE(result.isSuccess());
  EXPECT_GE(clock.time, 4 * second);  // a second more for those without a place, and the patience

  Load counted({.count = 4, .inFlight = 3, .patience = second}, {call(1, send)}, clock);
  counted.send();
  EXPECT_EQ(counted.started(), 3u);
}

TEST(Load, TextHasEveryCallInOneRowOfItsHistogram) {
  LoadResult result;
  Histogram histogram;
  std::mt19937_64 random(2);
  for (int i = 0; i < 5'000; ++i) histogram.add(random() >> (14 + random() % 50));
  result.latencies = histogram.read();
  std::istringstream text(loadText(result));
  std::string line;
  while (std::getline(text, line) && line != "histogram, ms") {
  }
  double from = 0, to = 0, end = 0;
  u64 calls = 0, count = 0;
  while (std::getline(text, line)) {
    line.erase(std::remove(line.begin(), line.end(), ','), line.end());
    ASSERT_EQ(std::sscanf(line.c_str(), "%lf - %lf %lu", &from, &to, &count), 3) << line;
    EXPECT_TRUE(from >= end && to > from) << line;
    end = to;
    calls += count;
  }
  EXPECT_EQ(calls, 5'000u);
  EXPECT_EQ(sum(result.latencies.buckets()), calls);
}

TEST(Places, NoneIsTakenTwice) {
  constexpr std::size_t count = 3, rounds = 2'000;
  Places places(count, nullptr);
  std::array<std::atomic<Place*>, count> handed = {};
  std::vector<std::thread> threads;
  for (auto& hand : handed) {
    threads.emplace_back([&] {
      for (std::size_t i = 0; i < rounds; ++i) {
        hand.wait(nullptr);
        Place* const place = hand.exchange(nullptr);
        hand.notify_one();
        EXPECT_TRUE(place->underWay.exchange(false));
        places.put(place);
      }
    });
  }
  for (std::size_t i = 0; i < rounds * count; ++i) {
    Place* const place = places.take(~u64{0} >> 2);
    EXPECT_FALSE(place->underWay.exchange(true));
    auto& hand = handed[i % count];
    while (Place* const former = hand) hand.wait(former);
    hand = place;
    hand.notify_one();
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t i = 0; i < count; ++i) EXPECT_NE(places.take(0), nullptr);
  EXPECT_EQ(places.take(0), nullptr);
}

}  // namespace
