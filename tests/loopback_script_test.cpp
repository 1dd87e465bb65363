// The loopback under a script: what callers get, when, and what was expected.

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

#include "children.h"
#include "platform.h"
#include "record/reading.h"
#include "tarn/rpc.h"

extern "C" [[gnu::weak]] void __asan_init();

namespace {

using namespace std::chrono_literals;

struct Scripted : Platform {
  using Platform::send;

  std::string write(const std::string& rules) const {
    const std::string path = dir / "script.json";
    std::ofstream(path) << "{\"rules\": [" << rules << "]}";
    return path;
  }
  void set(const std::string& rules) const {
    ASSERT_EQ(TarnLoopback_setScript(write(rules).c_str()), 0u);
  }
  u32 sendOther() { return MqcFesIntf_sendClassifierTemplate(&other, nullptr); }
  /// A request of zeros.
  static u32 sendEmpty() {
    const MQC_ClassifierTemplate empty{};
    return MqcFesIntf_sendClassifierTemplate(&empty, nullptr);
  }

  const MQC_ClassifierTemplate other{2, {}, 0, 0, 0, 0, 0};
};

// What it gets over gRPC, whatever the receiver returns, who sees the message all the same.
TEST_F(Scripted, AnswersEachVariantAsAServiceWould) {
  const std::pair<const char*, u32> rows[] = {
      {R"({"status": 0})", 0},
      {R"({"status": 4000000000})", 4000000000},
      {R"({"grpc": "CANCELLED"})", 1001},
      {R"({"grpc": "UNAUTHENTICATED"})", 1016},
      {R"({"drop": true})", 1004},
      {R"({"garbage": true})", 71},
      {R"({"delay_ms": 1})", 0},
      {R"({"delay_ms": 1, "status": 3})", 3},
  };
  for (const auto& [answer, status] : rows) {
    ASSERT_EQ(TarnLoopback_reset(), 0u);
    set(std::string(R"({"answers": [)") + answer + "]}");
    ASSERT_EQ(TarnLoopback_setRecording((dir / "calls").c_str()), 0u);
    Inbox inbox;
    inbox.answer = 6;
    TarnLoopback_setReceiver(receive, &inbox);
    TarnLoopback_setCompletionStatus(9);
    Ending ending;
    EXPECT_EQ(send(), status) << answer;
    EXPECT_EQ(sendAsync(ending), 0u) << answer;
    EXPECT_EQ(TarnLoopback_drain(), 0u);
    EXPECT_EQ(ending.count, 1) << answer;
    EXPECT_EQ(ending.status, status) << answer;
    EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, nullptr, nullptr, nullptr), 0u)
        << answer;
    EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_oneway(&request, nullptr), 0u) << answer;
    EXPECT_EQ(inbox.seen.size(), 4u) << answer;
    EXPECT_EQ(TarnLoopback_setRecording(nullptr), 0u);
    std::vector<std::string> ends;
    for (const Packet& packet : packetsOf(dir / "calls")) {
      if (packet.kind() == "end") ends.push_back(packet.last());
    }
    const std::string end = std::to_string(status);
    EXPECT_EQ(ends, (std::vector<std::string>{end, end, "0", "0"})) << answer;
  }
}

TEST_F(Scripted, LeavesOtherCallsAsTheyAre) {
  set(R"({"method": "sendClassifierTemplate", "match": {"f0": 1}, "expect": 2},
         {"method": "sendClassifierTemplate", "match": {"f0": 2}, "answers": [{"status": 3}, {"status": 4}]})");
  TarnLoopback_setStatus(8);
  EXPECT_EQ(send(), 8u) << "a rule without answers";
  EXPECT_EQ(sendOther(), 3u);
  EXPECT_EQ(sendEmpty(), 8u) << "no rule";
  EXPECT_EQ(sendOther(), 4u);
  EXPECT_EQ(sendOther(), 4u);
  TarnLoopback_setStatus(0);
  TarnLoopback_setCompletionStatus(9);
  Ending ending;
  EXPECT_EQ(sendAsync(ending), 0u);
  EXPECT_EQ(TarnLoopback_drain(), 0u);
  EXPECT_EQ(ending.status, 9u);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(TarnLoopback_checkScript(), 0u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate(nullptr, nullptr), TARN_STATUS_INVALID);

  // Neither another interface's nor what is not delivered counts.
  MethodId foreign = {"OtherIntf", "sendClassifierTemplate"};
  IdlMsgDesc desc;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, nullptr);
  EXPECT_EQ(RPC_IdlMsgOnewayCall(handle, &request, &foreign, &desc), 0u);
  complaintOf(TARN_STATUS_CAPTURE, [&] { return TarnLoopback_setCaptureDir("/absent"); });
  complaintOf(TARN_STATUS_CAPTURE, [&] { return send(); });
  EXPECT_EQ(TarnLoopback_checkScript(), 0u);
}

TEST_F(Scripted, ChecksWhatIsExpected) {
  EXPECT_EQ(complaintOf(TARN_STATUS_INVALID, TarnLoopback_checkScript),
            "tarn_loopback: there is no script to check\n");
  const std::string rule = R"({"match": {"f0": 1}, "expect": 2},
    {"method": "sendClassifierTemplate", "expect": {"at_most": 1}})";
  set(rule);
  EXPECT_EQ(send(), 0u);
  writing.heard.clear();
  writing.listens = true;
  EXPECT_EQ(TarnLoopback_checkScript(), TARN_STATUS_SCRIPT);
  writing.listens = false;
  ASSERT_EQ(writing.heard.size(), 2u) << "a line for each rule";
  EXPECT_EQ(writing.heard[0].find("tarn_loopback: every method (line 1) "), 0u) << writing.heard[0];
  EXPECT_NE(writing.heard[0].find(" expected 2, came 1: DIFFERS\n"), std::string::npos);
  EXPECT_NE(writing.heard[1].find(" expected at most 1, came 0\n"), std::string::npos);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(TarnLoopback_checkScript(), 0u);
  EXPECT_EQ(TarnLoopback_setScript((dir / "script.json").c_str()), 0u);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(send(), 0u);
  EXPECT_EQ(TarnLoopback_checkScript(), 0u) << "set again, it counts anew";
  EXPECT_EQ(TarnLoopback_reset(), 0u);
  complaintOf(TARN_STATUS_INVALID, TarnLoopback_checkScript);
}

TEST_F(Scripted, KeepsItsRulesBesideABadFile) {
  set(R"({"answers": [{"status": 3}, {"status": 4}]})");
  EXPECT_EQ(send(), 3u);
  const std::string bad = dir / "bad.json", start = "tarn_loopback: " + bad + ": ";
  const auto setBad = [&] { return TarnLoopback_setScript(bad.c_str()); };
  EXPECT_EQ(complaintOf(TARN_STATUS_SCRIPT, setBad), start + "No such file or directory\n");
  std::ofstream(bad) << "{\"rules\": [\n{\"method\": \"nothing\\u001b\"}]}";
  const std::string line = complaintOf(TARN_STATUS_SCRIPT, setBad);
  EXPECT_EQ(line.find(start + "line 2: "), 0u) << line;
  EXPECT_EQ(send(), 4u) << "neither rules nor counts have changed";
  EXPECT_EQ(TarnLoopback_setScript(nullptr), 0u);
  EXPECT_EQ(send(), 0u);
}

TEST_F(Scripted, AnswersLate) {
  set(R"({"match": {"f0": 1}, "answers": [{"delay_ms": 30, "status": 5}]})");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(send(), 5u);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 30ms);

  static std::vector<std::pair<std::chrono::steady_clock::time_point, std::size_t>> ends;
  ends.clear();
  const auto callback = [](u32 status, void* number) {
    EXPECT_EQ(status, 5u);
    ends.emplace_back(std::chrono::steady_clock::now(), reinterpret_cast<std::size_t>(number));
  };
  std::array<std::chrono::steady_clock::time_point, 8> begins;
  for (std::size_t i = 0; i < begins.size(); ++i) {
    begins[i] = std::chrono::steady_clock::now();
    void* const number = reinterpret_cast<void*>(i);
    EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, callback, number, nullptr), 0u);
  }
  Ending prompt;
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&other, complete, &prompt, nullptr), 0u);
  EXPECT_EQ(TarnLoopback_drain(), 0u);
  EXPECT_EQ(prompt.count, 1);
  ASSERT_EQ(ends.size(), begins.size()) << "a drain waits for late answers";
  for (std::size_t i = 0; i < begins.size(); ++i) {
    EXPECT_EQ(ends[i].second, i) << "of the same delay they come in order";
    EXPECT_GE(ends[i].first - begins[i], 30ms);
  }
}

/// In a child: an hour passes before the call ends.
void expectAnHour() {
  const std::string path = testing::TempDir() + "hour" + std::to_string(getpid());
  std::ofstream(path) << R"({"rules": [{"method": "sendClassifierTemplate", "match": {"f0": 0},
    "answers": [{"delay_ms": 3600000}, {"status": 0}]}]})";
  if (TarnLoopback_setScript(path.c_str()) != 0) _exit(5);
  fs::remove(path);
}

void countCall(u32, void*) {
  if (write(report, "+", 1) != 1) _exit(9);
}

/// Runs first: qemu does not survive children with threads once there is another one here.
using ScriptedDeathTest = Scripted;

TEST_F(ScriptedDeathTest, OthersOvertakeALateAnswerWhichNoExitWaitsFor) {
  const auto overtakes = [] {
    expectAnHour();
    post(countCall);
    usleep(10'000);  // until the thread waits for it
    static std::atomic<bool> hasEnded = false;
    post([](u32, void*) {
      countCall(0, nullptr);
      hasEnded = true;
    });
    while (!hasEnded) usleep(1'000);
  };
  EXPECT_EQ(reportedIn(overtakes), 1u);
}

TEST_F(ScriptedDeathTest, HoldsNoLockWhileACallWaits) {
  const auto waits = [] {
    expectAnHour();
    static std::atomic<bool> isUnderWay = false;
    TarnLoopback_setReceiver([](const TarnMessage*, void*) -> u32 { return isUnderWay = true; },
                             nullptr);
    std::thread(sendEmpty).detach();
    while (!isUnderWay) usleep(1'000);
    usleep(10'000);  // until it waits
    if (sendEmpty() != 0) _exit(4);
    post(countCall);
    if (TarnLoopback_drain() != 0 || TarnLoopback_reset() != 0) _exit(3);
  };
  EXPECT_EQ(reportedIn(waits), 1u);
}

// Each of the answers goes to one call; a child, forked while others call, goes on by itself.
TEST_F(Scripted, ServesManyThreads) {
  constexpr u32 threads = 8, count = 200, last = 999;
  std::string answers;
  for (u32 i = 1; i <= count; ++i) answers += "{\"status\": " + std::to_string(i) + "}, ";
  set(R"({"answers": [)" + answers + R"({"status": 999}], "expect": {"at_least": 201}})");
  std::atomic<bool> isOver = false;
  std::array<std::vector<u32>, threads> statuses;
  std::vector<std::thread> callers;
  for (std::vector<u32>& own : statuses) {
    callers.emplace_back([&] {
      for (u32 status = 0; status != last || !isOver;) {
        status = send();
        if (status != last) own.push_back(status);
      }
    });
  }
  const auto callInAChild = [] {
    if (sendEmpty() == 0) _exit(4);
  };
  // The locks of ASan may be held in a child, and qemu ends it.
  const int children = __asan_init == nullptr && !EMULATED ? 20 : 0;
  for (int i = 0; i < children; ++i) EXPECT_EQ(reportedIn(callInAChild), 0u);
  isOver = true;
  for (std::thread& caller : callers) caller.join();
  std::vector<u32> all;
  for (const std::vector<u32>& own : statuses) all.insert(all.end(), own.begin(), own.end());
  std::sort(all.begin(), all.end());
  ASSERT_EQ(all.size(), count);
  for (u32 i = 0; i < count; ++i) EXPECT_EQ(all[i], i + 1);
  EXPECT_EQ(TarnLoopback_checkScript(), 0u);
}

TEST_F(Scripted, GoesOnInAChild) {
  set(R"({"answers": [{"status": 1}, {"status": 2}, {"status": 3}]})");
  EXPECT_EQ(send(), 1u);
  const auto goesOn = [] {
    for (const u32 status : {2u, 3u}) {
      if (sendEmpty() != status) _exit(4);
    }
  };
  EXPECT_EQ(reportedIn(goesOn), 0u);
  EXPECT_EQ(send(), 2u) << "without what the child did";
}

}  // namespace
