// The stand-in platform, through the library's exports and with encoders that break the contract.

#include "platform/stand_in.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <map>
#include <numeric>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/bounded_memory.h"
#include "platform/rpc.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<u8>;

/// What the process's write does and has seen.
struct Writing {
  std::atomic<bool> listens = false;  ///< to stderr
  std::vector<std::string> heard;     ///< a write each
  std::size_t most = SIZE_MAX;        ///< bytes of a file at a time, interrupted in between
  bool interrupted = false;
} writing;

}  // namespace

extern "C" ssize_t write(int file, const void* bytes, size_t size) {
  if (file == STDERR_FILENO && writing.listens) {
    writing.heard.emplace_back(static_cast<const char*>(bytes), size);
    return static_cast<ssize_t>(size);
  }
  if (writing.most != SIZE_MAX && (writing.interrupted = !writing.interrupted)) {
    errno = EINTR;
    return -1;
  }
  return syscall(SYS_write, file, bytes, std::min(size, writing.most));
}

namespace {

/// Runs it on another thread and waits, but not for ever.
void elsewhere(std::function<void()> run) {
  std::packaged_task<void()> task(std::move(run));
  std::future<void> done = task.get_future();
  std::thread thread(std::move(task));
  if (done.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
    std::fputs("a call from another thread hangs\n", stderr);
    std::_Exit(1);
  }
  thread.join();
}

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
};

void complete(u32 status, void* userData) {
  Ending& ending = *static_cast<Ending*>(userData);
  ending.status = status;
  ++ending.count;
}

/// Runs something that must fail and tell so in one line, of one write, which is returned.
template <class Run>
std::string complaintOf(u32 status, Run run) {
  writing.heard.clear();
  writing.listens = true;
  EXPECT_EQ(run(), status);
  writing.listens = false;
  EXPECT_EQ(writing.heard.size(), 1u);
  const std::string line = writing.heard.empty() ? "" : writing.heard[0];
  EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
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

// In a process of its own, forked before there is another thread.
TEST(PlatformDeathTest, ExitWaitsForNoCallback) {
  const auto exits = [] {
    const auto callback = [](u32, void*) {
      for (;;) pause();
    };
    const MQC_ClassifierTemplate request{};
    MqcFesIntf_sendClassifierTemplate_async(&request, callback, nullptr, nullptr);
    std::exit(7);
  };
  EXPECT_EXIT(exits(), testing::ExitedWithCode(7), "");
}

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
    EXPECT_EQ(Bytes(full.end() - 6, full.end()), Bytes(6)) << "bytes that the encoder leaves open";
    EXPECT_EQ(TarnPlatform_delivered(message.variant), 1u);
  }
  EXPECT_EQ(TarnPlatform_delivered(static_cast<TarnVariant>(3)), 0u);
}

TEST_F(Platform, HandlesKeepTheirOptions) {
  Inbox inbox;
  TarnPlatform_setReceiver(receive, &inbox);
  IdlMsgDesc desc;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  const MethodId method = {"MqcFesIntf", "sendClassifierTemplate"};
  int options[2];
  void* handles[2];
  for (int i : {0, 1}) handles[i] = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, &options[i]);
  TarnPlatform_setHandleAvailable(0);
  for (int i : {0, 1}) {
    EXPECT_EQ(RPC_IdlMsgOnewayCall(handles[i], &request, &method, &desc), 0u) << "once given";
    EXPECT_EQ(inbox.seen.at(static_cast<std::size_t>(i)).message.opt, &options[i]);
  }
}

// In order, once each, with the status of the moment of the call, on a thread of their own; a drain
// waits for the last callback's return.
TEST_F(Platform, AsyncCallsComplete) {
  static std::vector<std::pair<u32, void*>> told;
  static std::thread::id thread;
  told.clear();
  const auto callback = [](u32 status, void* userData) {
    if (status == 19) std::this_thread::sleep_for(std::chrono::milliseconds(30));
    thread = std::this_thread::get_id();
    told.emplace_back(status, userData);
  };
  std::vector<std::pair<u32, void*>> expected;
  Bytes data(20);
  for (u32 i = 0; i < data.size(); ++i) {
    TarnPlatform_setCompletionStatus(i);
    expected.emplace_back(i, &data[i]);
    EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, callback, &data[i], nullptr), 0u);
  }
  TarnPlatform_setCompletionStatus(99);
  EXPECT_EQ(TarnPlatform_drain(), 0u);
  EXPECT_EQ(told, expected);
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(TarnPlatform_drain(), 0u) << "with nothing pending";
}

void callEverything() {
  const MQC_ClassifierTemplate request{};
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate(&request, nullptr), 0u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_oneway(&request, &writing), 0u);
  static Ending ending;
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, complete, &ending, nullptr), 0u);
  EXPECT_NE(TarnPlatform_delivered(TARN_VARIANT_SYNC), 0u);
  EXPECT_EQ(TarnPlatform_setCaptureDir(nullptr), 0u);
  TarnPlatform_setCompletionStatus(0);
}

TEST_F(Platform, HoldsNoLockWhileAReceiverOrCallbackRuns) {
  std::atomic<int> received = 0;
  const auto receiver = [](const TarnMessage*, void* count) -> u32 {
    if (++*static_cast<std::atomic<int>*>(count) == 1) elsewhere(callEverything);
    return 0;
  };
  TarnPlatform_setReceiver(receiver, &received);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(received, 4);
  const auto callback = [](u32, void*) { elsewhere(callEverything); };
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, callback, nullptr, nullptr), 0u);
  elsewhere([] { EXPECT_EQ(TarnPlatform_drain(), 0u); });
  EXPECT_EQ(received, 8);
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

TEST_F(Platform, CaptureWritesWhateverTheSystemTakesAtOnce) {
  Inbox inbox;
  TarnPlatform_setReceiver(receive, &inbox);
  std::ofstream(dir / "9999-other.full.bin") << "kept";
  const fs::path before = fs::current_path();
  fs::current_path(dir.parent_path());
  ASSERT_EQ(TarnPlatform_setCaptureDir(dir.filename().c_str()), 0u);
  fs::current_path(before);
  writing.most = 7;
  EXPECT_EQ(send(), 0u);
  writing.most = SIZE_MAX;
  const std::map<std::string, Bytes> expected = {
      {"9999-other.full.bin", {'k', 'e', 'p', 't'}},
      {"10000-sendClassifierTemplate.compact.bin", inbox.seen.at(0).compact},
      {"10000-sendClassifierTemplate.full.bin", inbox.seen.at(0).full}};
  EXPECT_EQ(files(), expected);
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
