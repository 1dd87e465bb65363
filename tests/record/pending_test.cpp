// Asynchronous calls whose callbacks have not run: none is taken for another, in bounded memory.

#include "record/pending.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

namespace {

void ignore(u32, void*) {}

struct PendingTest : testing::Test {
  u64 add() {
    const record::Pending* const call = calls->add("sendRuleMac", {8, ignore, this});
    return call != nullptr ? call->id : 0;
  }
  bool isThere(u64 id) { return calls->end(id).callback == ignore; }

  std::unique_ptr<record::PendingCalls> calls = std::make_unique<record::PendingCalls>();
};

TEST_F(PendingTest, HoldsAMillionAtMost) {
  u32 count = 0;
  u64 first = 0;
  for (u64 id = add(); id != 0; id = add()) {
    if (++count == 1) first = id;
  }
  EXPECT_GT(count, 999'000u);
  EXPECT_LE(count, 1'000'000u);
  const record::Pending ended = calls->end(first);
  EXPECT_EQ(ended.methodName(), "sendRuleMac");
  EXPECT_EQ(ended.userData, this);
  const u64 next = add();
  EXPECT_FALSE(isThere(first));
  EXPECT_EQ(add(), 0u);
  EXPECT_TRUE(isThere(next));
}

TEST_F(PendingTest, KeepsTheLatestThatWereRefused) {
  std::vector<u64> ids;
  for (int i = 0; i < 67'000; ++i) {
    ids.push_back(add());
    EXPECT_TRUE(calls->refuse(ids.back()));
  }
  EXPECT_FALSE(isThere(ids.front()));
  EXPECT_FALSE(calls->refuse(ids.front()));
  const std::size_t latest = ids.size() - 65'536;
  EXPECT_TRUE(isThere(ids[latest]));
  EXPECT_FALSE(isThere(ids[latest]));
  EXPECT_TRUE(isThere(ids.back()));
  const std::set<u64> different(ids.begin(), ids.end());
  EXPECT_EQ(different.size(), ids.size());
}

TEST_F(PendingTest, LosesNoMemoryByAFork) {
  const u64 waiting = add(), refused = add();
  EXPECT_TRUE(calls->refuse(refused));
  std::set<u64> places;
  for (int fork = 0; fork < 2000; ++fork) {
    const u64 id = add();
    places.insert(id % (1 << 20));
    if (fork % 2 == 0) calls->inChild();
    EXPECT_TRUE(isThere(id));
    calls->inChild();
  }
  EXPECT_LE(places.size(), 510u);
  EXPECT_TRUE(isThere(waiting));
  EXPECT_TRUE(isThere(refused));
}

}  // namespace
