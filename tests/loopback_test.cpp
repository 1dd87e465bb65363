// The loopback through the library's exports: receivers, handles, completions, locks.

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>
#include <utility>

#include "children.h"
#include "platform.h"
#include "tarn/rpc.h"

// A child may have threads of its own, and an exit takes no second more than it needs.
extern "C" const char* __tsan_default_options() {
  return "die_after_fork=0:atexit_sleep_ms=0";
}
extern "C" [[gnu::weak]] void __asan_init();

// Memory of the parent's other threads is lost in a child.
extern "C" int __lsan_is_turned_off() {
  return report >= 0;
}

namespace {

/// Runs it on another thread and waits for a limited time.
void elsewhere(void (*run)()) {
  std::packaged_task<void()> task(run);
  const std::future<void> done = task.get_future();
  std::thread thread(std::move(task));
  if (done.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
    std::fputs("a call from another thread hangs\n", stderr);
    std::_Exit(1);
  }
  thread.join();
}

std::atomic<bool> mayReport = true, hasBegun = false;

void set(std::atomic<bool>& flag) {
  flag = true;
  flag.notify_all();
}

void countCallback(u32, void*) {
  set(hasBegun);
  mayReport.wait(false);
  if (write(report, "+", 1) != 1) _exit(9);
}

void endWithPending() {
  mayReport = false;
  for (int i = 0; i < 3; ++i) post(countCallback);
  std::atexit([] { set(mayReport); });
}

void endInAFork() {
  mayReport = false;
  for (int i = 0; i < 2; ++i) post(countCallback);
  hasBegun.wait(false);
  const bool isChild = forkForAMinute() == 0;
  set(mayReport);
  if (isChild) {
    if (TarnLoopback_drain() != 0) _exit(6);
    return post(countCallback);
  }
  wait(nullptr);
}

const struct {
  const char* what;
  void (*run)();
  std::size_t callbacks;
  bool takesASecond;
  bool forks = false;  // while other threads run, which qemu does not survive
} endings[] = {
    {"waits for what is pending", endWithPending, 3, false},
    {"not for ever; then none begins",
     [] {
       post([](u32, void*) { pause(); });
       post(countCallback);
     },
     0, true},
    {"none begins later",
     [] {
       std::atexit([] {
         post(countCallback);
         usleep(50'000);
         if (TarnLoopback_drain() != TARN_STATUS_DEADLOCK) _exit(6);
       });
       post(countCallback);
     },
     1, false},
    {"a callback ends the process",
     [] {
       post([](u32, void*) {
         post(countCallback);
         std::exit(7);
       });
       pause();
     },
     0, false},
    {"a child has its own callbacks alone", endInAFork, 3, false, true},
    {"a child of a callback goes on",
     [] {
       post([](u32, void*) {
         if (forkForAMinute() != 0) return static_cast<void>(wait(nullptr));
         if (TarnLoopback_drain() != TARN_STATUS_DEADLOCK) _exit(6);
         post([](u32, void*) {
           countCallback(0, nullptr);
           std::exit(0);
         });
       });
     },
     1, false, true},
};

// First, before there is another thread. On a machine that is busy a second may be over too soon.
TEST(PlatformDeathTest, ExitWaitsAWhileForCallbacksAndThenLetsNoneBegin) {
  for (const auto& [what, run, callbacks, takesASecond, forks] : endings) {
    if (forks && EMULATED) continue;
    std::size_t count = 0;
    bool isOver = false;
    for (int tries = 0; !isOver; ++tries) {
      ASSERT_LT(tries, 20) << what;
      const auto begin = std::chrono::steady_clock::now();
      count = reportedIn(run);
      const auto time = std::chrono::steady_clock::now() - begin;
      isOver = takesASecond || HasFailure() || time < std::chrono::seconds(1);
    }
    EXPECT_EQ(count, callbacks) << what;
  }
}

// Before other tests: its threads request the first completion at once.
TEST_F(Platform, ServesManyThreads) {
  constexpr int threads = 8, calls = 25;
  Ending ending;
  std::atomic<int> received = 0, failed = 0;
  ASSERT_EQ(TarnLoopback_setCaptureDir(dir.c_str()), 0u);
  const auto count = [](const TarnMessage*, void* total) -> u32 {
    ++*static_cast<std::atomic<int>*>(total);
    return 0;
  };
  TarnLoopback_setReceiver(count, &received);
  const auto call = [&] {
    for (int i = 0; i < calls; ++i) {
      failed += send() != 0;
      failed += sendAsync(ending) != 0;
      failed += MqcFesIntf_sendClassifierTemplate_oneway(&request, &i) != 0;
      failed += TarnLoopback_setCaptureDir(dir.c_str()) != 0;
      TarnLoopback_setStatus(0);
      TarnLoopback_setCompletionStatus(0);
      TarnLoopback_drain();
    }
  };
  std::vector<std::thread> callers;
  for (int t = 0; t < threads; ++t) callers.emplace_back(call);
  const auto callInAChild = [] {
    TarnLoopback_setCaptureDir(nullptr);
    for (int i = 0; i < 3; ++i) {
      post(countCallback);
      TarnLoopback_drain();
    }
  };
  // The locks of ASan may be held in a child, and qemu ends it.
  const int children = __asan_init == nullptr && !EMULATED ? 20 : 0;
  for (int i = 0; i < children; ++i) EXPECT_EQ(reportedIn(callInAChild), 3u);
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(received, 3 * threads * calls);
  EXPECT_EQ(ending.count, threads * calls);
  EXPECT_EQ(files().size(), 2u * 3 * threads * calls);
  EXPECT_TRUE(fs::exists(dir / "0600-sendClassifierTemplate.full.bin"));
}

TEST_F(Platform, DeliversEveryVariantToTheReceiver) {
  int option = 0;
  const u32 answer = 0x40000007;
  Inbox inbox{{}, answer};
  TarnLoopback_setReceiver(receive, &inbox);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate(&request, &option), answer);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, nullptr, nullptr, nullptr), answer);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_oneway(&request, &inbox), answer);

  ASSERT_EQ(inbox.seen.size(), 3u);
  void* const options[] = {&option, nullptr, &inbox};
  const u64 sizes[] = {sizeof request, sizeof request, 0};
  for (u32 i = 0; i < 3; ++i) {
    const auto& [message, compact, full] = inbox.seen[i];
    EXPECT_STREQ(message.method.methodName, "sendClassifierTemplate");
    EXPECT_EQ(message.variant, i);
    EXPECT_EQ(message.reqSize, sizes[i]);
    EXPECT_EQ(message.opt, options[i]);
    EXPECT_EQ(compact.size(), 70u);
    ASSERT_EQ(full.size(), 88u);
    EXPECT_EQ(full[8], 1u) << "f0 is the table's first field";
    EXPECT_EQ(Bytes(full.end() - 6, full.end()), Bytes(6))
        << "bytes that the encoder leaves unwritten";
    EXPECT_EQ(TarnLoopback_delivered(message.variant), 1u);
  }
  EXPECT_EQ(TarnLoopback_delivered(static_cast<TarnVariant>(3)), 0u);
}

TEST_F(Platform, HandlesKeepTheirOptions) {
  Inbox inbox;
  TarnLoopback_setReceiver(receive, &inbox);
  IdlMsgDesc desc;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  const MethodId method = {"MqcFesIntf", "sendClassifierTemplate"};
  int options[2];
  void* handles[2];
  for (int i : {0, 1}) handles[i] = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, &options[i]);
  TarnLoopback_setHandleAvailable(0);
  for (int i : {0, 1}) {
    EXPECT_EQ(RPC_IdlMsgOnewayCall(handles[i], &request, &method, &desc), 0u)
        << "a handle stays valid";
    EXPECT_EQ(inbox.seen.at(static_cast<std::size_t>(i)).message.opt, &options[i]);
  }
}

// In order, once each, with the status of the moment of the call, on a thread of their own; a drain
// waits for the last callback's return.
TEST_F(Platform, AsyncCallsComplete) {
  static std::vector<std::pair<u32, void*>> results;
  static std::thread::id thread;
  results.clear();
  const auto callback = [](u32 status, void* userData) {
    if ((status & 0xFF) == 19) std::this_thread::sleep_for(std::chrono::milliseconds(30));
    thread = std::this_thread::get_id();
    results.emplace_back(status, userData);
  };
  std::vector<std::pair<u32, void*>> expected;
  Bytes data(20);
  for (u32 i = 0; i < data.size(); ++i) {
    TarnLoopback_setCompletionStatus(i << 24 | i);
    expected.emplace_back(i << 24 | i, &data[i]);
    EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, callback, &data[i], nullptr), 0u);
  }
  TarnLoopback_setCompletionStatus(99);
  EXPECT_EQ(TarnLoopback_drain(), 0u);
  EXPECT_EQ(results, expected);
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(TarnLoopback_drain(), 0u) << "with nothing pending";
}

TEST_F(Platform, FailingCallsDoNotComplete) {
  Ending ending;
  TarnLoopback_setStatus(0x50000);
  EXPECT_EQ(sendAsync(ending), 0x50000u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate(nullptr, nullptr), TARN_STATUS_INVALID);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(nullptr, complete, &ending, nullptr),
            TARN_STATUS_INVALID);
  TarnLoopback_setHandleAvailable(0);
  EXPECT_EQ(send(), TARN_STATUS_INVALID);
  EXPECT_EQ(sendAsync(ending), TARN_STATUS_INVALID);
  EXPECT_EQ(TarnLoopback_drain(), 0u);
  EXPECT_EQ(ending.count, 0);
  EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_SYNC), 0u);
  EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_ASYNC), 1u) << "the one answered with 5";
}

TEST_F(Platform, CompletionCallbackMayCallButNotWait) {
  std::array<u32, 3> results{};
  const auto callback = [](u32, void* userData) {
    const MQC_ClassifierTemplate again{};
    *static_cast<std::array<u32, 3>*>(userData) = {
        TarnLoopback_drain(), TarnLoopback_reset(),
        MqcFesIntf_sendClassifierTemplate(&again, nullptr)};
  };
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, callback, &results, nullptr), 0u);
  EXPECT_EQ(TarnLoopback_drain(), 0u);
  EXPECT_EQ(results, (std::array<u32, 3>{TARN_STATUS_DEADLOCK, TARN_STATUS_DEADLOCK, 0}));
  EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_SYNC), 1u);
  EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_ASYNC), 1u) << "set back in a callback";
}

void callEverything() {
  const MQC_ClassifierTemplate request{};
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate(&request, nullptr), 0u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_oneway(&request, &writing), 0u);
  static Ending ending;
  EXPECT_EQ(sendAsync(ending), 0u);
  EXPECT_NE(TarnLoopback_delivered(TARN_VARIANT_SYNC), 0u);
  EXPECT_EQ(TarnLoopback_setCaptureDir(nullptr), 0u);
  TarnLoopback_setCompletionStatus(0);
}

TEST_F(Platform, HoldsNoLockWhileAReceiverOrCallbackRuns) {
  std::atomic<int> received = 0;
  const auto receiver = [](const TarnMessage*, void* count) -> u32 {
    if (++*static_cast<std::atomic<int>*>(count) == 1) elsewhere(callEverything);
    return 0;
  };
  TarnLoopback_setReceiver(receiver, &received);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(received, 4);
  const auto callback = [](u32, void*) { elsewhere(callEverything); };
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, callback, nullptr, nullptr), 0u);
  elsewhere([] { EXPECT_EQ(TarnLoopback_drain(), 0u); });
  EXPECT_EQ(received, 8);
}

/// Takes a step and waits until the other has taken its own; orders nothing else between the two.
void step(std::atomic<int>& steps, int until) {
  steps.fetch_add(1, std::memory_order_relaxed);
  while (steps.load(std::memory_order_relaxed) < until) std::this_thread::yield();
}

// Thread sanitizers detect what the platform's locks do not cover.
TEST_F(Platform, ReceiverMayBeTakenAwayWhileItRuns) {
  std::atomic<int> steps = 0;
  std::thread taker([&steps] {
    step(steps, 2);
    TarnLoopback_setReceiver(nullptr, nullptr);
    step(steps, 3);
  });
  const auto receiver = [](const TarnMessage*, void* counter) -> u32 {
    step(*static_cast<std::atomic<int>*>(counter), 3);
    return 7;
  };
  TarnLoopback_setReceiver(receiver, &steps);
  EXPECT_EQ(send(), 7u);
  taker.join();
  EXPECT_EQ(send(), 0u);
}

TEST_F(Platform, ResetSetsEverythingBack) {
  Inbox inbox{{}, 3};
  Ending ending;
  EXPECT_EQ(sendAsync(ending), 0u);
  TarnLoopback_setReceiver(receive, &inbox);
  TarnLoopback_setStatus(4);
  TarnLoopback_setCompletionStatus(5);
  TarnLoopback_setHandleAvailable(0);
  TarnLoopback_setCaptureDir(dir.c_str());
  EXPECT_EQ(TarnLoopback_reset(), 0u);
  EXPECT_EQ(ending.count, 1) << "reset waits";
  EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_ASYNC), 0u);
  EXPECT_EQ(sendAsync(ending), 0u);
  EXPECT_EQ(TarnLoopback_drain(), 0u);
  EXPECT_EQ(ending.status, 0u);
  EXPECT_TRUE(inbox.seen.empty());
  EXPECT_TRUE(fs::is_empty(dir));
}

}  // namespace
