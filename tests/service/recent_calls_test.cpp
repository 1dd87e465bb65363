// What the page of tarn-serve is shown: the latest calls, their messages within bounds, all counts.

#include "service/recent_calls.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using service::RecentCall;
using service::RecentCalls;

const reader::Schema::Method& method() {
  static const reader::Schema::Method one{};
  return one;
}

RecentCall call(std::size_t size = 0) {
  RecentCall made;
  made.method = &method();
  made.size = size;
  made.since = std::chrono::steady_clock::now();
  return made;
}

/// Adds calls with messages of so many bytes, each the number of its call.
void add(RecentCalls& calls, std::uint64_t count, std::size_t size) {
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t next = calls.since(UINT64_MAX).calls + 1;
    const std::vector<std::uint8_t> message(size, static_cast<std::uint8_t>(next));
    ASSERT_EQ(calls.add(call(size), message), next);
  }
}

std::uint64_t firstKept(const RecentCalls& calls) {
  for (const RecentCall& recent : calls.since(0).changed) {
    if (calls.find(recent.number)->message) return recent.number;
  }
  return 0;
}

TEST(RecentCalls, TheLatestAreKeptInOrderWithTheirMessages) {
  RecentCalls calls;
  EXPECT_TRUE(calls.since(0).changed.empty());
  EXPECT_FALSE(calls.find(0));
  constexpr std::uint64_t many = 2 * RecentCalls::mostCalls + 10;
  add(calls, many, 16);
  const RecentCalls::News news = calls.since(0);
  EXPECT_EQ(news.calls, many);
  ASSERT_EQ(news.changed.size(), RecentCalls::mostCalls);
  for (std::size_t i = 0; i < news.changed.size(); ++i) {
    const std::uint64_t number = many - RecentCalls::mostCalls + 1 + i;
    ASSERT_EQ(news.changed[i].number, number);
    const auto found = calls.find(number);
    ASSERT_TRUE(found && found->message);
    ASSERT_EQ(*found->message, std::vector<std::uint8_t>(16, static_cast<std::uint8_t>(number)));
  }
  EXPECT_FALSE(calls.find(many - RecentCalls::mostCalls));
  EXPECT_FALSE(calls.find(many + 1));
}

TEST(RecentCalls, AReaderGetsWhatHasChangedSinceItsLastLook) {
  RecentCalls calls;
  add(calls, 3, 0);
  const std::uint64_t seen = calls.since(0).change;
  EXPECT_TRUE(calls.since(seen).changed.empty());
  calls.end(2, &method(), 7);
  add(calls, 1, 0);
  const RecentCalls::News news = calls.since(seen);
  ASSERT_EQ(news.changed.size(), 2u);
  EXPECT_EQ(news.changed[0].number, 2u);
  EXPECT_EQ(news.changed[0].end->status, 7u);
  EXPECT_EQ(news.changed[1].number, 4u);
  EXPECT_FALSE(news.changed[1].end);
}

TEST(RecentCalls, CallsThatEndLateAreCountedAndChangeNoOther) {
  RecentCalls calls;
  add(calls, RecentCalls::mostCalls + 1, 0);
  const std::uint64_t unknown = calls.add(RecentCall{});
  calls.end(unknown, nullptr, 1012);
  const std::uint64_t seen = calls.since(0).change;
  calls.end(1, &method(), 0);
  calls.end(2, &method(), std::nullopt);  // its place has another call since
  EXPECT_TRUE(calls.since(seen).changed.empty());
  RecentCalls::Counts counts = calls.since(0).counts;
  EXPECT_EQ(counts[&method()].calls, RecentCalls::mostCalls + 1);
  EXPECT_EQ(counts[&method()].underWay, RecentCalls::mostCalls - 1);
  EXPECT_EQ(counts[&method()].failed, 1u);
  EXPECT_EQ(counts[nullptr].underWay, 0u);
  EXPECT_EQ(counts[nullptr].failed, 1u);
}

TEST(RecentCalls, MessagesHaveBounds) {
  constexpr std::size_t longest = RecentCalls::longestMessage;
  constexpr std::uint64_t most = RecentCalls::mostBytes / longest;
  RecentCalls calls;
  const std::vector<std::uint8_t> tooLong(longest + 1);
  EXPECT_FALSE(calls.find(calls.add(call(), tooLong))->message);
  EXPECT_FALSE(calls.find(calls.add(call()))->message);
  add(calls, most, longest);
  EXPECT_EQ(firstKept(calls), 3u);
  add(calls, 1, 1);
  EXPECT_EQ(firstKept(calls), 4u);
  // Behind many small ones, too, those go first that came first.
  add(calls, 2 * RecentCalls::mostCalls, 1);
  add(calls, most, longest);
  const std::uint64_t count = calls.since(0).calls;
  EXPECT_EQ(firstKept(calls), count - most + 1);
  EXPECT_EQ(calls.find(count)->message->size(), longest);
}

TEST(RecentCalls, ThreadsAddAndEndBesideAReader) {
  RecentCalls calls;
  std::atomic<int> running = 2;
  const auto run = [&] {
    for (int i = 0; i < 3000; ++i) {
      const std::vector<std::uint8_t> message(64, 1);
      calls.end(calls.add(call(), message), &method(), 0);
    }
    --running;
  };
  std::thread one(run), two(run);
  std::uint64_t seen = 0;
  while (running > 0) {
    const RecentCalls::News news = calls.since(seen);
    for (const RecentCall& recent : news.changed) {
      ASSERT_GT(recent.change, seen);
      calls.find(recent.number);
    }
    seen = news.change;
  }
  one.join();
  two.join();
  EXPECT_EQ(calls.since(0).calls, 6000u);
  EXPECT_EQ(calls.since(0).counts[&method()].underWay, 0u);
}

}  // namespace
