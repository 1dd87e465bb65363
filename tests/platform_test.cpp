// The stand-in platform, through the library's exports and with encoders that break the contract.

#include "platform/stand_in.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/bounded_memory.h"
#include "platform/rpc.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<u8>;

struct Inbox {
  struct Seen {
    TarnMessage message;  // its pointers dangle
    Bytes compact, full;
  };
  std::vector<Seen> seen;
  u32 answer = 0;
};

u32 receive(const TarnMessage* m, void* userData) {
  Inbox& inbox = *static_cast<Inbox*>(userData);
  inbox.seen.push_back(
      {*m, {m->compact, m->compact + m->compactSize}, {m->full, m->full + m->fullSize}});
  return inbox.answer;
}

/// What an asynchronous call's callback was told.
struct Ending {
  std::atomic<int> count = 0;
  std::atomic<u32> status = 0;
  std::thread::id thread;
};

void complete(u32 status, void* userData) {
  Ending& ending = *static_cast<Ending*>(userData);
  ending.status = status;
  ending.thread = std::this_thread::get_id();
  ++ending.count;
}

/// Runs something that must fail and tell so in one line, which is returned.
template <class Run>
std::string complaintOf(u32 status, Run run) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(run(), status);
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
  return line;
}

class Platform : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TarnPlatform_reset(), 0u);
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    dir = name;
  }
  void TearDown() override {
    EXPECT_EQ(TarnPlatform_reset(), 0u);
    fs::remove_all(dir);
  }

  u32 send() { return MqcFesIntf_sendClassifierTemplate(&request, nullptr); }
  u32 sendAsync(Ending& ending) {
    return MqcFesIntf_sendClassifierTemplate_async(&request, complete, &ending, nullptr);
  }

  std::map<std::string, Bytes> files() const {
    std::map<std::string, Bytes> all;
    for (const auto& entry : fs::directory_iterator(dir)) {
      std::ifstream in(entry.path(), std::ios::binary);
      all[entry.path().filename()] = Bytes(std::istreambuf_iterator<char>(in), {});
    }
    return all;
  }

  const MQC_ClassifierTemplate request{1, {}, 0, 0, 0, 0, 0};
  std::string name = testing::TempDir() + "platformXXXXXX";
  fs::path dir;  // the test's own
};

TEST(BoundedMemory, KeepsAnnexK) {
  constexpr std::size_t tooLarge = (SIZE_MAX >> 1) + 1;
  const Bytes untouched{1, 2, 3, 4}, zero(4, 0), nines(4, 9);
  struct Row {
    const char* what;
    int (*run)(u8* dest);
    bool fails;
    Bytes after;
  };
  const Row rows[] = {
      {"set", [](u8* d) { return memset_s(d, 4, 0x109, 2); }, false, {9, 9, 3, 4}},
      {"set nothing", [](u8* d) { return memset_s(d, 4, 9, 0); }, false, untouched},
      {"set at NULL", [](u8*) { return memset_s(nullptr, 4, 9, 0); }, true, untouched},
      {"set too much", [](u8* d) { return memset_s(d, 4, 9, 5); }, true, nines},
      {"set negative count", [](u8* d) { return memset_s(d, 4, 9, SIZE_MAX); }, true, nines},
      {"set negative max", [](u8* d) { return memset_s(d, tooLarge, 9, 1); }, true, untouched},
      {"copy", [](u8* d) { return memcpy_s(d, 4, "\5\6", 2); }, false, {5, 6, 3, 4}},
      {"copy nothing", [](u8* d) { return memcpy_s(d, 4, d, 0); }, false, untouched},
      {"copy to NULL", [](u8* d) { return memcpy_s(nullptr, 4, d, 1); }, true, untouched},
      {"copy NULL", [](u8* d) { return memcpy_s(d, 4, nullptr, 0); }, true, zero},
      {"copy too much", [](u8* d) { return memcpy_s(d, 4, "abcdef", 5); }, true, zero},
      {"copy negative max", [](u8* d) { return memcpy_s(d, tooLarge, "a", 1); }, true, untouched},
      {"copy neighbour", [](u8* d) { return memcpy_s(d, 2, d + 2, 2); }, false, {3, 4, 3, 4}},
      {"overlap from behind", [](u8* d) { return memcpy_s(d, 4, d + 1, 2); }, true, zero},
      {"overlap from before", [](u8* d) { return memcpy_s(d + 1, 3, d, 2); }, true, {1, 0, 0, 0}},
      {"overlap with itself", [](u8* d) { return memcpy_s(d, 4, d, 1); }, true, zero},
  };
  for (const Row& row : rows) {
    Bytes dest = untouched;
    EXPECT_EQ(row.run(dest.data()) != 0, row.fails) << row.what;
    EXPECT_EQ(dest, row.after) << row.what;
  }
}

TEST_F(Platform, LogsOneLineForARecord) {
  IdlMsgDesc desc;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  u32 capacity = 3;
  u8 buffer[3];
  PackBuf cursor = {buffer, &capacity};
  EXPECT_EQ(complaintOf(0, [&] { return desc.pack(&cursor, &request); }),
            "VELTA/VELTA_TORVAL_SERIAL level 2 code 22 MQC_ClassifierTemplate_pack:1330 "
            "[VELTA]:Param invalid(nonNull, 3, nonNull)\n");
}

TEST_F(Platform, DeliversEveryVariantToTheReceiver) {
  int option = 0;
  Inbox inbox{{}, 7};
  TarnPlatform_setReceiver(receive, &inbox);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate(&request, &option), 7u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, nullptr, nullptr, nullptr), 7u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_oneway(&request, &inbox), 7u);

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
    EXPECT_EQ(TarnPlatform_delivered(message.variant), 1u);
  }
}

TEST_F(Platform, AsyncCompletesOnceOnAnotherThread) {
  Ending ending;
  TarnPlatform_setCompletionStatus(9);
  EXPECT_EQ(sendAsync(ending), 0u);
  EXPECT_EQ(TarnPlatform_drain(), 0u);
  EXPECT_EQ(ending.count, 1);
  EXPECT_EQ(ending.status, 9u);
  EXPECT_NE(ending.thread, std::this_thread::get_id());
  EXPECT_EQ(TarnPlatform_drain(), 0u) << "with nothing pending";
}

TEST_F(Platform, FailingCallsDoNotComplete) {
  Ending ending;
  TarnPlatform_setStatus(5);
  EXPECT_EQ(sendAsync(ending), 5u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate(nullptr, nullptr), TARN_STATUS_INVALID);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(nullptr, complete, &ending, nullptr),
            TARN_STATUS_INVALID);
  TarnPlatform_setHandleAvailable(0);
  EXPECT_EQ(send(), TARN_STATUS_INVALID);
  EXPECT_EQ(sendAsync(ending), TARN_STATUS_INVALID);
  EXPECT_EQ(TarnPlatform_drain(), 0u);
  EXPECT_EQ(ending.count, 0);
  EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_SYNC), 0u);
  EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_ASYNC), 1u) << "the one answered with 5";
}

TEST_F(Platform, CompletionCallbackMayCallButNotWait) {
  std::array<u32, 3> results{};
  const auto callback = [](u32, void* userData) {
    const MQC_ClassifierTemplate again{};
    *static_cast<std::array<u32, 3>*>(userData) = {
        TarnPlatform_drain(), TarnPlatform_reset(),
        MqcFesIntf_sendClassifierTemplate(&again, nullptr)};
  };
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, callback, &results, nullptr), 0u);
  EXPECT_EQ(TarnPlatform_drain(), 0u);
  EXPECT_EQ(results, (std::array<u32, 3>{TARN_STATUS_DEADLOCK, TARN_STATUS_DEADLOCK, 0}));
  EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_SYNC), 1u);
}

/// What the scripted encoders do; without changes they keep their contract.
struct Script {
  u32 query = 20, length = 20, written = 20, root = 16;
  u32 fullSize = 16, result = 0, fullWritten = 16, fullRoot = 12;
  bool hasFull = true, hasGetter = true;
};

Script script;

u32 scriptedWrite(u8* out, u32 bytes, u32 root, u32 result) {
  std::fill_n(out, bytes, u8{0});
  out[0] = static_cast<u8>(root);
  return result;
}

u32 scriptedPack(PackBuf* cursor, const void*) {
  if (cursor == nullptr) return script.query;
  return scriptedWrite(cursor->buf, script.written, script.root, script.length);
}

u32 scriptedPackFull(u8* out, const void*) {
  return scriptedWrite(out, script.fullWritten, script.fullRoot, script.result);
}

u32 sendScripted(const Script& changed) {
  script = changed;
  const MethodId method = {"MqcFesIntf", "scripted"};
  IdlMsgDesc desc{};
  desc.pack = scriptedPack;
  if (script.hasFull) desc.packFull = scriptedPackFull;
  if (script.hasGetter) desc.fullSize = [] { return script.fullSize; };
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, nullptr);
  return RPC_IdlSyncCallNoOutStub(handle, &script, sizeof script, &method, &desc);
}

TEST_F(Platform, RefusesEncodersThatBreakTheirContract) {
  const std::pair<const char*, Script> rows[] = {
      {"size query failed", {.query = 0}},
      {"compact encoder failed", {.length = 0}},
      {"has 21 bytes", {.length = 21}},
      {"has 12 bytes", {.length = 12, .root = 8}},
      {"has 20 bytes", {.query = 29, .hasFull = false, .hasGetter = false}},
      {"compact encoder wrote past", {.written = 21}},
      {"compact root", {.root = 17}},
      {"compact root", {.root = 3}},
      {"multiple of 8: 20", {.fullSize = 20}},
      {"full encoder failed: 1", {.result = 1}},
      {"full encoder wrote past", {.fullWritten = 17}},
      {"full root", {.fullRoot = 13}},
      {"together or not at all", {.hasFull = false}},
      {"together or not at all", {.hasGetter = false}},
  };
  for (const auto& [complaint, faulty] : rows) {
    const std::string line =
        complaintOf(TARN_STATUS_ENCODING, [&row = faulty] { return sendScripted(row); });
    EXPECT_NE(line.find(complaint), std::string::npos) << complaint << " in " << line;
  }
  EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_SYNC), 0u);
  EXPECT_EQ(sendScripted({}), 0u);
  EXPECT_EQ(sendScripted({.query = 28, .hasFull = false, .hasGetter = false}), 0u)
      << "an empty buffer left out";
}

TEST_F(Platform, CaptureNumbersOnAndOverwritesNothing) {
  Inbox inbox;
  TarnPlatform_setReceiver(receive, &inbox);
  for (const char* other : {"0006-other.full.bin", "12.txt", "x0099-y.compact.bin"}) {
    std::ofstream(dir / other) << "kept";
  }
  ASSERT_EQ(TarnPlatform_setCaptureDir(dir.c_str()), 0u);
  std::ofstream(dir / "0007-sendClassifierTemplate.full.bin") << "another process's";
  EXPECT_EQ(send(), 0u);
  const MQC_BrkBatchMsg empty = {0, 0, 0, 0, reinterpret_cast<const u8*>("")};
  EXPECT_EQ(MqcFesIntf_ProcMqcBatchMsg_oneway(&empty, nullptr), 0u);
  TarnPlatform_setCaptureDir(nullptr);
  EXPECT_EQ(send(), 0u);

  auto found = files();
  EXPECT_EQ(found.size(), 7u);
  EXPECT_EQ(found["0008-sendClassifierTemplate.compact.bin"], inbox.seen[0].compact);
  EXPECT_EQ(found["0008-sendClassifierTemplate.full.bin"], inbox.seen[0].full);
  EXPECT_EQ(found["0009-ProcMqcBatchMsg.compact.bin"].size(), 20u);
  EXPECT_EQ(found["0007-sendClassifierTemplate.full.bin"].size(), 17u);
}

TEST_F(Platform, CaptureFailsCallsWhileTheDirectoryCannotBeWritten) {
  std::ofstream(dir / "file") << "no directory";
  for (const fs::path& path : {dir / "file", dir / "missing", fs::path("/proc/self"), fs::path()}) {
    const std::string start = "tarn_platform: capture directory " + path.string() + ": ";
    const auto set = [&] { return TarnPlatform_setCaptureDir(path.c_str()); };
    EXPECT_EQ(complaintOf(TARN_STATUS_CAPTURE, set).find(start), 0u);
    EXPECT_EQ(complaintOf(TARN_STATUS_CAPTURE, [&] { return send(); }).find(start), 0u);
  }
  EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_SYNC), 0u);

  complaintOf(TARN_STATUS_CAPTURE,
              [&] { return TarnPlatform_setCaptureDir((dir / "missing").c_str()); });
  fs::create_directory(dir / "missing");
  EXPECT_EQ(send(), 0u);
  EXPECT_TRUE(fs::exists(dir / "missing" / "0001-sendClassifierTemplate.full.bin"));
}

TEST_F(Platform, CaptureLeavesNothingOfAMessageThatDoesNotFit) {
  ASSERT_EQ(TarnPlatform_setCaptureDir(dir.c_str()), 0u);
  const Bytes large(300000, 1);
  const MQC_BrkBatchMsg batch = {0, 0, 0, static_cast<u32>(large.size()), large.data()};
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit tight = {200000, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  complaintOf(TARN_STATUS_CAPTURE, [&] { return MqcFesIntf_ProcMqcBatchMsg(&batch, nullptr); });
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_TRUE(fs::is_empty(dir));
  EXPECT_EQ(send(), 0u);
}

TEST_F(Platform, ResetSetsEverythingBack) {
  Inbox inbox{{}, 3};
  Ending ending;
  EXPECT_EQ(sendAsync(ending), 0u);
  TarnPlatform_setReceiver(receive, &inbox);
  TarnPlatform_setStatus(4);
  TarnPlatform_setCompletionStatus(5);
  TarnPlatform_setHandleAvailable(0);
  TarnPlatform_setCaptureDir(dir.c_str());
  EXPECT_EQ(TarnPlatform_reset(), 0u);
  EXPECT_EQ(ending.count, 1) << "reset waits";
  EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_ASYNC), 0u);
  EXPECT_EQ(sendAsync(ending), 0u);
  EXPECT_EQ(TarnPlatform_drain(), 0u);
  EXPECT_EQ(ending.status, 0u);
  EXPECT_TRUE(inbox.seen.empty());
  EXPECT_TRUE(fs::is_empty(dir));
}

TEST_F(Platform, ServesManyThreads) {
  constexpr int threads = 8, calls = 25;
  Ending ending;
  std::atomic<int> received = 0, failed = 0;
  ASSERT_EQ(TarnPlatform_setCaptureDir(dir.c_str()), 0u);
  const auto count = [](const TarnMessage*, void* total) -> u32 {
    ++*static_cast<std::atomic<int>*>(total);
    return 0;
  };
  TarnPlatform_setReceiver(count, &received);
  const auto call = [&] {
    for (int i = 0; i < calls; ++i) {
      failed += send() != 0;
      failed += sendAsync(ending) != 0;
      failed += MqcFesIntf_sendClassifierTemplate_oneway(&request, &i) != 0;
      TarnPlatform_drain();
    }
  };
  std::vector<std::thread> callers;
  for (int t = 0; t < threads; ++t) callers.emplace_back(call);
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(received, 3 * threads * calls);
  EXPECT_EQ(ending.count, threads * calls);
  EXPECT_EQ(files().size(), 2u * 3 * threads * calls);
  EXPECT_TRUE(fs::exists(dir / "0600-sendClassifierTemplate.full.bin"));
}

}  // namespace
