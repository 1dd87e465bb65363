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
  static u64 placeOf(u64 id) { return id % (1 << 20); }
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
  calls->inChild();
  EXPECT_EQ(add(), 0u);
  const record::Pending ended = calls->end(first);
  EXPECT_EQ(ended.methodName(), "sendRuleMac");
  EXPECT_EQ(ended.userData, this);
  const u64 next = add();
  EXPECT_NE(next, 0u);
  EXPECT_FALSE(isThere(first));
  EXPECT_EQ(add(), 0u);
  EXPECT_TRUE(isThere(next));
}

TEST_F(PendingTest, KeepsTheLatestThatWereRefused) {
  std::vector<u64> ids;
  for (int i = 0; i < 66'100; ++i) {
    ids.push_back(add());
    EXPECT_TRUE(calls->refuse(ids.back()));
  }
  EXPECT_FALSE(isThere(ids.front()));
  EXPECT_FALSE(calls->refuse(ids.front()));
  const std::size_t latest = ids.size() - 65'536;
  EXPECT_TRUE(isThere(ids[latest]));
  EXPECT_FALSE(isThere(ids[latest]));
  EXPECT_TRUE(isThere(ids.back()));
  const u64 next = add();
  EXPECT_TRUE(isThere(next));
  EXPECT_EQ(placeOf(add()), placeOf(next));
  for (int child = 0; child < 2; ++child) {
    std::set<u64> places;
    for (int i = 0; i < 100; ++i) {
      const u64 id = add();
      EXPECT_NE(id, 0u);
      places.insert(placeOf(id));
    }
    EXPECT_EQ(places.size(), 100u);
    EXPECT_LE(*places.rbegin(), placeOf(ids[66'047]));  // no more memory
    calls->inChild();
  }
}

TEST_F(PendingTest, IsTheSameAfterForks) {
  const u64 waiting = add();
  std::vector<u64> refused;
  for (int i = 0; i < 300; ++i) {
    refused.push_back(add());
    EXPECT_TRUE(calls->refuse(refused.back()));
  }
  for (int fork = 0; fork < 250; ++fork) {
    const u64 id = add();
    if (fork % 2 == 0) calls->inChild();
    EXPECT_TRUE(isThere(id));
    calls->inChild();
  }
  std::set<u64> places;
  for (int i = 0; i < 212; ++i) places.insert(placeOf(add()));
  EXPECT_EQ(places.size(), 512u - 301 + 1);
  EXPECT_EQ(*places.rbegin(), 512u);  // the first of more memory
  EXPECT_TRUE(isThere(waiting));
  for (const u64 id : refused) EXPECT_TRUE(isThere(id));
}

}  // namespace
