// The life of a channel: it is closed, its states are told, its service is killed and comes back.

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>

#include "grpc/service.h"
#include "tarn/rpc.h"

namespace {

constexpr u32 cancelled = TARN_GRPC_TRANSPORT + 1;

using GrpcLife = EitherWay;

INSTANTIATE_TEST_SUITE_P(Ways, GrpcLife, testing::Values(0, 1));

TEST_P(GrpcLife, ClosingWaitsAndAClosedChannelIsRefused) {
  serve("slow");
  void* const opt = open();
  void* const other = open();
  EXPECT_EQ(call(opt), 0u) << "it need not connect within the second";
  Endings ending(1);
  EXPECT_EQ(ending.call(0, request, opt), 0u);
  EXPECT_EQ(TarnGrpc_close(opt), 0u);
  EXPECT_EQ(ending.once(0), 1) << "before it returns";
  EXPECT_EQ(call(opt), TARN_STATUS_INVALID);
  EXPECT_STREQ(TarnGrpc_lastError(), "opt is a channel that was closed");
  EXPECT_EQ(oneway(opt), TARN_STATUS_INVALID);
  EXPECT_EQ(TarnGrpc_close(opt), TARN_STATUS_INVALID);
  EXPECT_EQ(TarnGrpc_close(&ending), TARN_STATUS_INVALID);
  EXPECT_NE(open(), opt) << "a handle is not given again";
  EXPECT_EQ(call(other), 0u);
}

TEST_P(GrpcLife, ClosingEndsWhatTakesTooLong) {
  serve("0");
  void* const opt = open();
  EXPECT_EQ(call(opt), 0u);
  freeze();
  Endings endings(10);
  for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(endings.call(i, request, opt), 0u);
  std::thread waiting([&] { EXPECT_EQ(call(opt), cancelled); });
  usleep(100'000);
  EXPECT_EQ(TarnGrpc_close(opt), TARN_GRPC_BUSY);
  EXPECT_EQ(endings.once(cancelled), 10);
  waiting.join();
  void* const hasty = open({.deadlineMs = 100});
  Endings ending(1);
  EXPECT_EQ(ending.call(0, request, hasty), 0u);
  EXPECT_EQ(TarnGrpc_close(hasty), 0u);
  EXPECT_EQ(ending.once(unsent(late)), 1) << "deadlines hold meanwhile";
  EXPECT_EQ(call(opt), TARN_STATUS_INVALID);
}

TEST_P(GrpcLife, ClosingInACallbackOrAChildIsRefused) {
  serve("0");
  static void* opt;
  static std::atomic<u32> closed;
  opt = open();
  const auto close = [](u32, void*) { closed = TarnGrpc_close(opt); };
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, close, nullptr, opt), 0u);
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(closed, TARN_STATUS_DEADLOCK);
  inChild([] { EXPECT_EQ(TarnGrpc_close(opt), TARN_GRPC_FORKED); });
  EXPECT_EQ(call(opt), 0u);
}

TEST_P(GrpcLife, ChannelOfTheEnvironmentIsMadeAgain) {
  setenv("TARN_GRPC_TARGET", target.c_str(), 1);
  serve("0");
  EXPECT_EQ(call(nullptr), 0u);
  EXPECT_EQ(TarnGrpc_close(nullptr), 0u);
  setenv("TARN_GRPC_TARGET", "", 1);
  EXPECT_EQ(call(nullptr), TARN_STATUS_INVALID);
  setenv("TARN_GRPC_TARGET", target.c_str(), 1);
  EXPECT_EQ(call(nullptr), 0u);
  EXPECT_EQ(TarnGrpc_close(nullptr), 0u);
  unsetenv("TARN_GRPC_TARGET");
}

// Every call is counted, whoever closes the channel when.
TEST_P(GrpcLife, ChannelsAreClosedUnderCalls) {
  constexpr std::size_t rounds = 20, calls = 50;
  serve("0");
  for (std::size_t round = 0; round < rounds; ++round) {
    void* const opt = open();
    Endings endings(calls);
    std::atomic<long> accepted = 0;
    std::thread caller([&] {
      for (std::size_t i = 0; i < calls; ++i) {
        accepted += endings.call(i, request, opt) == 0;
        call(opt);
      }
    });
    usleep(static_cast<useconds_t>(1'000 * round));
    EXPECT_NE(TarnGrpc_close(opt), TARN_STATUS_INVALID);
    const long ended =
        endings.once(0) + endings.once(cancelled) + endings.once(cancelled + notSent);
    caller.join();
    EXPECT_EQ(ended, accepted) << "after it was closed nothing is accepted";
  }
}

/// The states that were told.
class Told {
 public:
  static void note(TarnGrpcState state, void* told) {
    Told& it = *static_cast<Told*>(told);
    usleep(20'000);  // whoever closes the channel waits for it
    const std::lock_guard lock(it.mutex_);
    it.states_.push_back(state);
    it.drained_ = TarnGrpc_drain(0);
  }
  long count(TarnGrpcState state) {
    const std::lock_guard lock(mutex_);
    return std::count(states_.begin(), states_.end(), state);
  }
  bool await(TarnGrpcState state, long times) {
    for (int i = 0; i < 6'000 && count(state) < times; ++i) usleep(10'000);
    return count(state) >= times;
  }
  std::vector<TarnGrpcState> all() {
    const std::lock_guard lock(mutex_);
    return states_;
  }
  u32 drained() const { return drained_; }

 private:
  std::mutex mutex_;
  std::vector<TarnGrpcState> states_;
  std::atomic<u32> drained_ = 0;
};

TEST_P(GrpcLife, StatesAreToldWithoutACall) {
  Told told;
  void* const opt = open();
  EXPECT_EQ(TarnGrpc_onState(opt, Told::note, &told), 0u);
  EXPECT_TRUE(told.await(TARN_GRPC_FAILED, 1));
  serve("0");
  EXPECT_TRUE(told.await(TARN_GRPC_READY, 1));
  EXPECT_EQ(told.drained(), TARN_STATUS_DEADLOCK);
  EXPECT_EQ(told.count(TARN_GRPC_RESTARTED), 0);
  stop();
  EXPECT_TRUE(told.await(TARN_GRPC_FAILED, 2));
  serve("0");
  EXPECT_TRUE(told.await(TARN_GRPC_READY, 2));
  EXPECT_EQ(told.count(TARN_GRPC_RESTARTED), isStream() ? 1 : 0);
  EXPECT_EQ(call(opt), 0u);
  EXPECT_EQ(TarnGrpc_close(opt), 0u);
  EXPECT_EQ(told.all().back(), TARN_GRPC_CLOSED);
  if (isStream()) {
    const auto all = told.all();
    const auto restarted = std::find(all.begin(), all.end(), TARN_GRPC_RESTARTED);
    EXPECT_EQ(*(restarted + 1), TARN_GRPC_READY);
  }
  Told slowly;
  freeze();
  const std::string anew = "unix:" + (dir / "." / "socket").string();  // shares no connection
  void* const slow = open({.target = anew.c_str()});
  EXPECT_EQ(TarnGrpc_onState(slow, Told::note, &slowly), 0u);
  EXPECT_TRUE(slowly.await(TARN_GRPC_CONNECTING, 1));
  thaw();
  EXPECT_TRUE(slowly.await(TARN_GRPC_READY, 1));
  EXPECT_EQ(TarnGrpc_close(slow), 0u);
  EXPECT_EQ(TarnGrpc_onState(opt, Told::note, &told), TARN_STATUS_INVALID);
  EXPECT_EQ(TarnGrpc_onState(&told, Told::note, &told), TARN_STATUS_INVALID);
}

// The connection stands, and yet nothing can be sent.
TEST_F(ServiceTest, StreamThatIsNotServedHasFailed) {
  serve("unknown");
  Told told;
  void* const opt = open({.stream = 1});
  EXPECT_EQ(TarnGrpc_onState(opt, Told::note, &told), 0u);
  EXPECT_TRUE(told.await(TARN_GRPC_FAILED, 1));
  EXPECT_EQ(told.count(TARN_GRPC_READY), 0);
  EXPECT_EQ(TarnGrpc_onState(opt, nullptr, nullptr), 0u);
  const std::size_t before = told.all().size();
  EXPECT_EQ(TarnGrpc_close(opt), 0u);
  EXPECT_EQ(told.all().size(), before) << "nobody is told any more";
}

TEST_F(ServiceTest, StreamThatEndsAtOnceIsNotOpenedAgainAtOnce) {
  serve("brief");
  Told told;
  void* const opt = open({.stream = 1});
  EXPECT_EQ(TarnGrpc_onState(opt, Told::note, &told), 0u);
  EXPECT_TRUE(told.await(TARN_GRPC_FAILED, 1));
  usleep(500'000);
  EXPECT_LE(told.count(TARN_GRPC_FAILED), 6) << "one a second, however late this thread is";
  EXPECT_EQ(TarnGrpc_close(opt), 0u);
}

// Where it is told of a restart, nothing more is to be told.
TEST_F(ServiceTest, CallbackMayEndTheReports) {
  struct Hearer {
    Told told;
    void* opt;
    static void hear(TarnGrpcState state, void* data) {
      Hearer& it = *static_cast<Hearer*>(data);
      Told::note(state, &it.told);
      if (state != TARN_GRPC_RESTARTED) return;
      EXPECT_EQ(TarnGrpc_onState(it.opt, nullptr, nullptr), 0u);
    }
  } hearer;
  hearer.opt = open({.stream = 1});
  serve("0");
  EXPECT_EQ(TarnGrpc_onState(hearer.opt, Hearer::hear, &hearer), 0u);
  EXPECT_TRUE(hearer.told.await(TARN_GRPC_READY, 1));
  stop();
  serve("0");
  EXPECT_TRUE(hearer.told.await(TARN_GRPC_RESTARTED, 1));
  EXPECT_EQ(TarnGrpc_close(hearer.opt), 0u);
  EXPECT_EQ(hearer.told.all().back(), TARN_GRPC_RESTARTED);
}

}  // namespace
