// What the stream alone promises: order, messages that travel together, what was not sent.

#include <thread>
#include <tuple>

#include "grpc/service.h"

namespace {

class GrpcStream : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    travel(1);
  }
  void TearDown() override {
    travel(0);
    ServiceTest::TearDown();
  }

  struct Travelled {
    u64 sequence;
    u32 variant, stream, message;
  };
  std::vector<Travelled> travelled() const {
    std::vector<Travelled> all;
    std::ifstream in(dir / "streams");
    for (Travelled t; in >> t.sequence >> t.variant >> t.stream >> t.message;) all.push_back(t);
    return all;
  }
  void awaitArrival(std::size_t calls) const {
    for (int i = 0; i < 6'000 && arrived().size() < calls; ++i) usleep(10'000);
    ASSERT_EQ(arrived().size(), calls);
  }
};

/// Counts the callbacks that run before that of a call made earlier.
class Order {
 public:
  explicit Order(std::size_t calls) : cells_(calls) {
    for (Cell& cell : cells_) cell.order = this;
  }
  u32 call(std::size_t i, const MQC_ClassifierTemplate& request, void* opt) {
    const auto note = [](u32 status, void* userData) {
      Cell& cell = *static_cast<Cell*>(userData);
      cell.status = status;
      cell.order->inversions_ += &cell != &cell.order->cells_[cell.order->next_++];
    };
    return MqcFesIntf_sendClassifierTemplate_async(&request, note, &cells_[i], opt);
  }
  u32 status(std::size_t i) const { return cells_[i].status; }
  std::size_t inversions() const { return inversions_; }
  std::size_t ended() const { return next_; }

 private:
  struct Cell {
    Order* order;
    std::atomic<u32> status;
  };
  std::vector<Cell> cells_;
  std::atomic<std::size_t> next_ = 0, inversions_ = 0;
};

TEST_F(GrpcStream, CallsAndCallbacksKeepTheirOrder) {
  constexpr std::size_t calls = 1'000, threads = 4;
  serve("0");
  void* const opt = open({.maxInFlight = 100'000});
  Order order(calls);
  std::atomic<u32> failures = 0;
  std::vector<std::thread> callers;
  for (std::size_t t = 0; t < threads; ++t) {
    callers.emplace_back([&] {
      for (int i = 0; i < 100; ++i) failures += (i % 10 == 0 ? call(opt) : oneway(opt)) != 0;
    });
  }
  for (std::size_t i = 0; i < calls; ++i) failures += order.call(i, request, opt) != 0;
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(failures, 0u);
  EXPECT_EQ(order.ended(), calls);
  EXPECT_EQ(order.inversions(), 0u);
  const std::vector<Travelled> all = travelled();
  ASSERT_EQ(all.size(), calls + 100 * threads);
  for (std::size_t i = 1; i < all.size(); ++i) EXPECT_LT(all[i - 1].sequence, all[i].sequence);
  for (const u32 variant : {0u, 1u, 2u}) {
    const auto isThat = [=](const Travelled& one) { return one.variant == variant; };
    const std::size_t expected[] = {10 * threads, calls, 90 * threads};
    EXPECT_EQ(std::count_if(all.begin(), all.end(), isThat), static_cast<long>(expected[variant]));
  }
}

TEST_F(GrpcStream, FloodTravelsInFewMessages) {
  serve("0");
  void* const opt = open();
  EXPECT_EQ(call(opt), 0u);
  freeze();
  // As much as the connection holds, and more.
  const std::vector<u8> large(4 << 20);
  const MQC_BrkBatchMsg batch = {0, 0, 0, static_cast<u32>(large.size()), large.data()};
  EXPECT_EQ(MqcFesIntf_ProcMqcBatchMsg_oneway(&batch, opt), 0u);
  for (int i = 0; i < 1'000; ++i) EXPECT_EQ(oneway(opt), 0u);
  thaw();
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  const std::vector<Travelled> all = travelled();
  ASSERT_EQ(all.size(), 1'002u);
  EXPECT_LE(all.back().message - all[1].message, 2u);
  EXPECT_EQ(all.back().stream, all.front().stream);
}

TEST_F(GrpcStream, AnswersInAnotherOrderDoNotDisturbCallbacks) {
  serve("backwards");
  void* const opt = open();
  Order order(3);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(order.call(i, request, opt), 0u);
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(order.ended(), 3u);
  EXPECT_EQ(order.inversions(), 0u);
  EXPECT_EQ(order.status(0) + order.status(1) + order.status(2), 0u);
}

TEST_F(GrpcStream, UnansweredCallsEndAndTheStreamGoesOn) {
  serve("skip");
  void* const opt = open({.deadlineMs = 1'000});
  Order order(20);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(order.call(i, request, opt), 0u);
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(order.inversions(), 0u);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(order.status(i), i % 2 == 0 ? late : 0u) << i;
  for (int i = 0; i < 1'500; ++i) EXPECT_EQ(oneway(opt), 0u);  // which need not be remembered
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(call(opt), 0u);
  EXPECT_EQ(travelled().back().stream, travelled().front().stream);
}

TEST_F(GrpcStream, LateAnswersAreDropped) {
  serve("late");  // by half a second each
  void* const opt = open({.deadlineMs = 200});
  testing::internal::CaptureStderr();
  EXPECT_EQ(call(opt), late);
  EXPECT_EQ(oneway(opt), 0u);
  awaitArrival(2);
  usleep(700'000);
  EXPECT_EQ(call(opt), late);
  awaitArrival(3);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(travelled().back().stream, travelled().front().stream);
}

// A call and another right behind it: that one may or may not have been sent.
TEST_F(GrpcStream, ServiceThatBreaksTheRulesEndsTheStream) {
  const u32 garbage = TARN_GRPC_GARBAGE, broken = TARN_GRPC_NOT_SENT + 13;
  struct Row {
    const char *answer, *words;
    u32 status;
  };
  const Row rows[] = {{"twice", "answers call ", 0},
                      {"stranger", "answers call ", garbage},
                      {"garbage", "sends what is no MqcAnswers", garbage},
                      {"nogreeting", "sends no instance number first", broken}};
  void* const opt = open({.waitForReady = 1});
  for (const Row& row : rows) {
    serve(row.answer);
    testing::internal::CaptureStderr();
    EXPECT_EQ(call(opt), row.status) << row.answer;
    const u32 next = call(opt);
    EXPECT_TRUE(next == row.status || next == garbage || next == broken) << row.answer << next;
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(line.starts_with(std::string("tarn_grpc: the service ") + row.words)) << line;
    stop();
  }
  serve("3");
  u32 status = 0;
  for (int i = 0; i < 300 && status != 3; ++i, usleep(100'000)) status = call(opt);
  EXPECT_EQ(status, 3u);
}

TEST_F(GrpcStream, ServiceMayEndTheStream) {
  const std::tuple<const char*, u32, const char*> rows[] = {
      {"leave", unavailable, "UNAVAILABLE"},
      {"expel", TARN_GRPC_TRANSPORT + 8, "overloaded: no\\nroom"},
      {"odd", TARN_GRPC_GARBAGE, "breaks the stream's rules"}};
  void* const opt = open({.waitForReady = 1});
  for (const auto& [answer, status, words] : rows) {
    serve(answer);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(call(opt), status) << answer;
      EXPECT_PRED_FORMAT2(testing::IsSubstring, words, TarnGrpc_lastError());
    }
    stop();
  }
}

TEST_F(GrpcStream, WhatWasNotSentIsKnown) {
  serve("0");
  void* const opt = open();
  EXPECT_EQ(call(opt), 0u);
  const std::vector<u8> longest(65 << 20);  // with the rest, more than a message may hold
  const MQC_BrkBatchMsg refused = {0, 0, 0, static_cast<u32>(longest.size()), longest.data()};
  EXPECT_EQ(MqcFesIntf_ProcMqcBatchMsg_oneway(&refused, opt), TARN_GRPC_NOT_SENT + 8);
  freeze();
  const std::vector<u8> large(16 << 20);  // more than a connection holds
  const MQC_BrkBatchMsg batch = {0, 0, 0, static_cast<u32>(large.size()), large.data()};
  EXPECT_EQ(MqcFesIntf_ProcMqcBatchMsg_oneway(&batch, opt), 0u);
  Endings endings(50);
  for (std::size_t i = 0; i < 50; ++i) EXPECT_EQ(endings.call(i, request, opt), 0u);
  void* const hasty = open({.deadlineMs = 300});
  EXPECT_EQ(MqcFesIntf_ProcMqcBatchMsg(&batch, hasty), notSent + late) << "no stream was opened";
  stop();
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(endings.once(notSent + unavailable), 50);
  EXPECT_EQ(arrived().size(), 1u) << "nothing else was sent";
}

}  // namespace
