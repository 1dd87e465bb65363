// The delivery over gRPC, against a service in another process.

#include <chrono>
#include <thread>
#include <tuple>

#include "grpc/service.h"
#include "tarn/rpc.h"
#include "wire.h"

namespace {

using Grpc = EitherWay;

INSTANTIATE_TEST_SUITE_P(Ways, Grpc, testing::Values(0, 1));

/// Sends a record in all three ways.
void sendThrice(void* opt, const methods::Method& method, const void* record) {
  const methods::Functions& exports = methods::functionsOf(method);
  EXPECT_EQ(exports.call(record, opt), 0u);
  EXPECT_EQ(exports.async(record, nullptr, nullptr, opt), 0u);
  EXPECT_EQ(exports.oneway(record, opt), 0u);
}

/// The encoding as a service must receive it: bytes that an encoder leaves unwritten are 0.
std::string expected(const methods::Method& method, const u8* record, bool full) {
  wire::Encoders encoders(method);
  EXPECT_EQ(encoders.run(record), "") << method.name;
  std::string shown;
  for (const std::int16_t byte :
       full && !encoders.full.empty() ? encoders.full : encoders.compact) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02X ", static_cast<u8>(std::max<int>(byte, 0)));
    shown += pair;
  }
  return shown;
}

TEST_P(Grpc, EveryMethodArrivesByteForByte) {
  serve("0");
  std::vector<Message> sent;
  for (const u32 full : {0u, 1u}) {
    void* const opt = open({.full = full});
    for (const methods::Method& method : methods::all) {
      records::Maker maker(*method.request, 7);
      u8* const record = maker.make(0x5555555555555555);
      for (const methods::Slot& slot : maker.values.buffers) {
        // Empty: the size query counts it, and the encoding is shorter.
        records::storeBuffer(record + slot.offset, slot, {record, 0});
      }
      sendThrice(opt, method, record);
      sent.insert(
          sent.end(), 3,
          {0, std::string("/MqcFesIntf/") + method.name, expected(method, record, full != 0)});
    }
  }
  ASSERT_EQ(TarnGrpc_drain(minute), 0u);
  const std::vector<Message> arrived = received();
  ASSERT_EQ(arrived.size(), 2 * 3 * methods::all.size());
  for (std::size_t i = 0; i < sent.size(); ++i) {
    EXPECT_EQ(arrived[i].path, sent[i].path);
    EXPECT_EQ(arrived[i].bytes, sent[i].bytes) << sent[i].path;
    EXPECT_EQ(arrived[i].sequence, arrived[0].sequence + i);
  }
}

// Larger than gRPC accepts by default.
TEST_P(Grpc, LargeBatchArrives) {
  serve("0");
  const std::vector<u8> large(8 << 20, 0x5A);
  const MQC_BrkBatchMsg batch = {0, 0, 0, static_cast<u32>(large.size()), large.data()};
  ASSERT_EQ(MqcFesIntf_ProcMqcBatchMsg(&batch, open()), 0u) << TarnGrpc_lastError();
  std::string expected;
  for (std::size_t i = 0; i < large.size(); ++i) expected += "5A ";
  EXPECT_TRUE(received().at(0).bytes.ends_with(" 00 80 00 " + expected));
}

TEST_P(Grpc, AnswersComeBackAsStatuses) {
  std::vector<std::pair<const char*, u32>> rows = {
      {"4000000000", 4000000000u},         {"empty", TARN_GRPC_GARBAGE},
      {"garbage", TARN_GRPC_GARBAGE},      {"large", 9},
      {"huge", TARN_GRPC_TRANSPORT + 8},   {"refuse", TARN_GRPC_TRANSPORT + 7},
      {"cancel", TARN_GRPC_TRANSPORT + 1}, {"unknown", unsent(TARN_GRPC_TRANSPORT + 12)}};
  if (!isStream()) rows.insert(rows.end(), {{"absent", 0}, {"unaligned", TARN_GRPC_GARBAGE}});
  void* const opt = open({.waitForReady = 1});
  for (const auto& [answer, status] : rows) {
    serve(answer);
    Endings ending(1);
    EXPECT_EQ(call(opt), status) << answer;
    if (status == TARN_GRPC_TRANSPORT + 7) {
      EXPECT_PRED_FORMAT2(testing::IsSubstring, "client: not\\nyou\\u{202E}", TarnGrpc_lastError());
    }
    EXPECT_EQ(ending.call(0, request, opt), 0u) << answer;
    EXPECT_EQ(TarnGrpc_drain(minute), 0u);
    EXPECT_EQ(ending.once(status), 1) << answer;
    EXPECT_EQ(oneway(opt), 0u) << answer;
    EXPECT_EQ(TarnGrpc_drain(minute), 0u);
    stop();
  }
  serve("cut");  // by one byte less at each call
  u32 status = 0;
  int cuts = 0;
  while (cuts < 300 && (status = call(opt)) == TARN_GRPC_GARBAGE) ++cuts;
  EXPECT_EQ(status, 7u);
  EXPECT_GE(cuts, 20);
}

TEST_P(Grpc, AbsentServiceIsToldAtOnceOrWaitedFor) {
  void* const opt = open();
  EXPECT_EQ(call(opt), unsent(unavailable));
  const std::string reason = isStream() ? "not sent: " : "";
  EXPECT_TRUE(std::string(TarnGrpc_lastError())
                  .starts_with("/MqcFesIntf/sendClassifierTemplate: " + reason +
                               "UNAVAILABLE: no connection to the service: "));
  EXPECT_EQ(call(open({.deadlineMs = 50, .waitForReady = 1})), unsent(late));
  Endings ending(1);
  EXPECT_EQ(ending.call(0, request, open({.waitForReady = 1})), 0u);
  serve("0");
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(ending.once(0), 1);
}

TEST_P(Grpc, FrozenServiceHoldsNobodyPastTheDeadline) {
  serve("0");
  void* const opt = open({.deadlineMs = 300});
  call(opt);
  freeze();
  const auto begin = std::chrono::steady_clock::now();
  Endings ending(1);
  EXPECT_EQ(ending.call(0, request, opt), 0u);
  EXPECT_EQ(call(opt), late);
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(ending.once(late), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

// A slow encoder stands for a large message.
TEST_P(Grpc, EncodingIsPartOfTheDeadline) {
  serve("0");
  IdlMsgDesc desc;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  static const auto pack = desc.pack;
  desc.pack = [](PackBuf* cursor, const void* record) {
    usleep(100'000);
    return pack(cursor, record);
  };
  const MethodId method = {"MqcFesIntf", "sendClassifierTemplate"};
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, open({.deadlineMs = 100}));
  EXPECT_EQ(RPC_IdlSyncCallNoOutStub(handle, &request, sizeof request, &method, &desc),
            unsent(late));
  EXPECT_EQ(RPC_IdlMsgOnewayCall(handle, &request, &method, &desc), unsent(late));
  EXPECT_EQ(call(open()), 0u);
  EXPECT_EQ(received().size(), 1u) << "what is late is not sent";
}

TEST_P(Grpc, CallbackThatHangsHoldsUpNoCall) {
  serve("0");
  void* const opt = open();
  static std::atomic<int> hanging;  // 1 before it does, 2 meanwhile, 0 when it may end
  hanging = 1;
  const auto hang = [](u32, void*) {
    hanging = 2;
    while (hanging == 2) usleep(1'000);
  };
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, hang, nullptr, opt), 0u);
  for (int i = 0; i < 60'000 && hanging != 2; ++i) usleep(1'000);
  ASSERT_EQ(oneway(opt) + call(opt), 0u);
  for (int i = 0; i < 6'000 && received().size() < 3; ++i) usleep(10'000);
  EXPECT_EQ(received().size(), 3u);
  EXPECT_EQ(TarnGrpc_drain(0), TARN_GRPC_BUSY);
  hanging = 0;
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
}

TEST_P(Grpc, KilledServiceEndsEveryCallAndMayComeBack) {
  serve("0");
  void* const opt = open();
  EXPECT_EQ(call(opt), 0u);
  freeze();
  Endings endings(100);
  for (std::size_t i = 0; i < 100; ++i) EXPECT_EQ(endings.call(i, request, opt), 0u);
  std::thread waiting([&] { EXPECT_EQ(call(opt), unavailable); });
  usleep(100'000);
  stop();
  waiting.join();
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(endings.once(unavailable), 100);
  serve("5");
  u32 status = 0;
  for (int i = 0; i < 300 && status != 5; ++i, usleep(100'000)) status = call(opt);
  EXPECT_EQ(status, 5u);
}

TEST_P(Grpc, BusyPastTheCap) {
  serve("0");
  void* const opt = open({.maxInFlight = 3});
  EXPECT_EQ(call(opt), 0u);
  freeze();
  Endings endings(5);
  EXPECT_EQ(endings.call(0, request, opt), 0u);
  EXPECT_EQ(endings.call(1, request, opt), 0u);
  EXPECT_EQ(oneway(opt), 0u);
  EXPECT_EQ(endings.call(2, request, opt), TARN_GRPC_BUSY);
  EXPECT_STREQ(TarnGrpc_lastError(),
               "sendClassifierTemplate: busy: the limit of calls or bytes in flight is reached");
  EXPECT_EQ(oneway(opt), TARN_GRPC_BUSY);
  void* const small = open({.maxBytes = 2 * 70});  // a single message may be larger
  for (const u32 status : {0u, 0u, u32{TARN_GRPC_BUSY}}) EXPECT_EQ(oneway(small), status);
  void* const tiny = open({.maxBytes = 1});
  for (const u32 status : {0u, u32{TARN_GRPC_BUSY}}) EXPECT_EQ(oneway(tiny), status);
  void* const usual = open();
  u32 taken = 0;
  while (taken < 3000 && oneway(usual) == 0) ++taken;
  EXPECT_EQ(taken, 2000u);
  thaw();
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(endings.once(0), 2);
  EXPECT_EQ(endings.call(3, request, opt), 0u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(oneway(opt), 0u);
    EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  }
  EXPECT_EQ(endings.once(0), 3);
  EXPECT_EQ(oneway(small) + oneway(tiny), 0u) << "bytes are returned";
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(received().size(), 13u + taken);
}

TEST_P(Grpc, ManyCallsEndOnceEach) {
  constexpr std::size_t calls = 5'000, threads = 32, each = 20;
  serve("0");
  void* const opt = open({.maxInFlight = 2 * calls});
  Endings endings(calls);
  std::size_t refused = 0;
  for (std::size_t i = 0; i < calls; ++i) refused += endings.call(i, request, opt) != 0;
  std::atomic<std::size_t> failed = 0;
  std::vector<std::thread> callers;
  for (std::size_t t = 0; t < threads; ++t) {
    callers.emplace_back([&] {
      for (std::size_t i = 0; i < each; ++i) {
        failed += call(i % 4 == 0 ? open() : opt) != 0;
        failed += oneway(opt) != 0;
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(TarnGrpc_drain(2 * minute), 0u);
  EXPECT_EQ(refused + failed, 0u);
  EXPECT_EQ(endings.once(0), static_cast<long>(calls));
  EXPECT_EQ(received().size(), calls + 2 * threads * each);
}

TEST_P(Grpc, CallbackMayCallButNotWait) {
  serve("6");
  struct Seen {
    void* opt;
    u32 drained, status;
  } seen = {open({.maxInFlight = 1}), 0, 0};
  const auto callback = [](u32, void* userData) {
    Seen& results = *static_cast<Seen*>(userData);
    const MQC_ClassifierTemplate again{};
    results.drained = TarnGrpc_drain(minute);
    results.status = MqcFesIntf_sendClassifierTemplate(&again, results.opt);
    EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_oneway(&again, results.opt), 0u);
  };
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, callback, &seen, seen.opt), 0u);
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(seen.drained, TARN_STATUS_DEADLOCK);
  EXPECT_EQ(seen.status, 6u);
}

TEST_P(Grpc, DrainWaitsForTheCallsMadeSoFar) {
  serve("0");
  struct Chain {
    void* opt;
    std::atomic<bool> goesOn = true;
    static void call(u32, void* userData) {
      Chain& chain = *static_cast<Chain*>(userData);
      const MQC_ClassifierTemplate next{};
      if (!chain.goesOn) return;
      EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&next, call, &chain, chain.opt), 0u);
    }
  } chain = {open()};
  Chain::call(0, &chain);
  EXPECT_EQ(TarnGrpc_drain(minute / 3), 0u);
  chain.goesOn = false;
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
}

/// Whether a child of a process that used the runtime is refused every call.
bool isRefused(void* opt) {
  const MQC_ClassifierTemplate request{};
  Endings ending(1);
  const u32 statuses[] = {
      MqcFesIntf_sendClassifierTemplate(&request, opt), ending.call(0, request, opt),
      MqcFesIntf_sendClassifierTemplate_oneway(&request, opt), TarnGrpc_drain(minute)};
  return std::count(std::begin(statuses), std::end(statuses), TARN_GRPC_FORKED) == 4;
}

TEST_P(Grpc, ChildOfAForkIsRefusedAndHarmsNothing) {
  serve("0");
  void* const opt = open();
  EXPECT_EQ(call(opt), 0u);
  freeze();
  Endings endings(10);
  for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(endings.call(i, request, opt), 0u);
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    _exit(isRefused(opt) ? 0 : 1);
  }
  EXPECT_EQ(exitStatus(child), 0);
  thaw();
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(endings.once(0), 10);
  EXPECT_EQ(call(opt), 0u);
}

TEST_P(Grpc, ExitSendsWhatWasHandedOver) {
  setenv("TARN_GRPC_TARGET", target.c_str(), 1);
  struct Row {
    const char* way;
    std::size_t messages, callbacks;
    int ms;  // at least; an answer to the process's third message takes twice as long
  };
  const int answerTime = isStream() ? 0 : 100;  // over a stream one after the other
  serve(isStream() ? "0" : "slow");
  for (const Row& row : {Row{"return", 20, 10, 2 * answerTime},
                         {"callback", 3, 0, 3 * answerTime},
                         {"fork", 20, 10, 2 * answerTime}}) {
    for (int left = 2, tries = 0; left > 0; ++tries) {
      ASSERT_LT(tries, 40) << "the second of an exit is used up each time";
      const std::size_t before = received().size();
      const auto begin = std::chrono::steady_clock::now();
      EXPECT_EQ(exitStatus(start({EXITING, row.way, dir / "ran"})), 0) << row.way;
      const auto time = std::chrono::steady_clock::now() - begin;
      EXPECT_GE(time, std::chrono::milliseconds(row.ms)) << row.way;
      if (time >= std::chrono::seconds(1)) {
        sleep(1);  // calls in flight may still arrive
        continue;
      }
      EXPECT_EQ(received().size() - before, row.messages) << row.way;
      EXPECT_EQ(std::filesystem::file_size(dir / "ran"), row.callbacks) << row.way;
      --left;
    }
  }
  freeze();
  EXPECT_EQ(exitStatus(start({EXITING, "return", dir / "ran", std::to_string(service())})), 0);
  EXPECT_EQ(std::filesystem::file_size(dir / "ran"), 0u) << "answers that come too late";
  unsetenv("TARN_GRPC_TARGET");
}

}  // namespace
