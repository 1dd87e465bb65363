// The loopback on allocation failure, or when no thread can be started. Not with sanitizers, which
// replace the same functions.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

#include "platform.h"
#include "tarn/rpc.h"

/// The thread's allocations before one fails; negative: unlimited. None is larger than 1 GiB.
thread_local long memory = -1;

extern "C" void* __libc_malloc(std::size_t size);

extern "C" void* malloc(std::size_t size) {
  const bool fails = size > 1 << 30 || (memory >= 0 && memory-- == 0);
  void* const bytes = fails ? nullptr : __libc_malloc(size);
  if (bytes == nullptr) errno = ENOMEM;
  return bytes != nullptr ? std::memset(bytes, 0xEE, size) : nullptr;  // nothing is zero by chance
}

/// The number of threads requested, and whether one can be had.
std::atomic<int> threads = 0;
bool noThread = false;

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*run)(void*), void* argument) {
  static const auto create =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  ++threads;
  return noThread ? EAGAIN : create(thread, attributes, run, argument);
}

std::string noMemoryFor(const fs::path& dir) {
  return "tarn_loopback: capture directory " + dir.string() + ": Cannot allocate memory\n";
}

// Runs before anything that starts the thread.
TEST_F(Platform, AsksForItsThreadUntilThereIsOne) {
  const auto send = [&] {
    const auto nothing = [](u32, void*) {};
    return MqcFesIntf_sendClassifierTemplate_async(&request, nothing, nullptr, nullptr);
  };
  noThread = true;
  EXPECT_EQ(complaintOf(TARN_STATUS_NO_RESOURCES, send),
            "tarn_loopback: no thread for completions: Resource temporarily unavailable\n");
  noThread = false;
  EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_ASYNC), 0u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(send(), 0u);
  EXPECT_EQ(threads, 2);
}

TEST_F(Platform, DeliversWholeOrNotAtAllWhenMemoryEnds) {
  ASSERT_EQ(TarnLoopback_setCaptureDir(dir.c_str()), 0u);
  std::atomic<u32> completed = 0;
  EXPECT_NE(RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, &completed), nullptr);
  const auto count = [](u32, void* counter) { ++*static_cast<std::atomic<u32>*>(counter); };
  writing.heard.clear();
  for (long left = 0; completed == 0; ++left) {
    writing.listens = true;
    memory = left;
    const u32 status =
        MqcFesIntf_sendClassifierTemplate_async(&request, count, &completed, &completed);
    memory = -1;
    writing.listens = false;
    EXPECT_EQ(TarnLoopback_drain(), 0u);
    EXPECT_EQ(status, completed == 1 ? 0u : u32{TARN_STATUS_NO_RESOURCES}) << left;
    EXPECT_EQ(files().size(), 2 * completed) << left;
    EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_ASYNC), completed) << left;
  }
  const std::string start = "tarn_loopback: sendClassifierTemplate: no memory for an encoding of ";
  const std::set<std::string> lines(writing.heard.begin(), writing.heard.end());
  EXPECT_EQ(lines,
            (std::set<std::string>{start + "70 bytes\n", start + "88 bytes\n", noMemoryFor(dir)}));
}

TEST_F(Platform, KeepsItsCaptureDirectoryWhenMemoryEnds) {
  const fs::path next = dir / "next";
  fs::create_directory(next);
  ASSERT_EQ(TarnLoopback_setCaptureDir(dir.c_str()), 0u);
  u32 status = 1;
  for (long left = 0; status != 0; ++left) {
    writing.heard.clear();
    writing.listens = true;
    memory = left;
    status = TarnLoopback_setCaptureDir(next.c_str());
    memory = -1;
    writing.listens = false;
    const std::size_t before = files().size();
    EXPECT_EQ(send(), 0u);
    if (status == 0) continue;
    EXPECT_EQ(status, TARN_STATUS_NO_RESOURCES) << left;
    EXPECT_EQ(writing.heard, (std::vector<std::string>{noMemoryFor(next)})) << left;
    EXPECT_EQ(files().size(), before + 2) << left;
  }
  EXPECT_TRUE(fs::exists(next / "0001-sendClassifierTemplate.full.bin"));
  EXPECT_GE(files().size(), 3u) << "without memory at least once";
}

TEST_F(Platform, KeepsItsScriptAndCountsWhatIsDeliveredWhenMemoryEnds) {
  const std::string former = dir / "former", next = dir / "next";
  std::ofstream(former) << R"({"rules": [{"answers": [{"status": 3}]}]})";
  std::ofstream(next) << R"({"rules": [{"answers": [{"status": 4}], "expect": 1}]})";
  if (TarnLoopback_setScript(former.c_str()) == TARN_STATUS_SCRIPT) GTEST_SKIP() << "no scripts";
  u32 status = 1;
  for (long left = 0; status != 0; ++left) {
    memory = left;
    status = TarnLoopback_setScript(next.c_str());
    memory = -1;
    if (status == 0) break;
    EXPECT_TRUE(status == TARN_STATUS_NO_RESOURCES || status == TARN_STATUS_SCRIPT) << left;
    EXPECT_EQ(send(), 3u) << left;
  }
  const auto check = [] {
    memory = 0;
    return TarnLoopback_checkScript();
  };
  EXPECT_EQ(complaintOf(TARN_STATUS_NO_RESOURCES, check),
            "tarn_loopback: no memory for a report of what was expected\n");
  for (long left = 0; status != 4; ++left) {
    memory = left;
    status = send();
    memory = -1;
    EXPECT_TRUE(status == TARN_STATUS_NO_RESOURCES || status == 4) << left;
  }
  EXPECT_EQ(TarnLoopback_checkScript(), 0u);
}

TEST_F(Platform, LogsWithoutMemory) {
  const KvrOsalLogWriteFn log = logFunction();
  writing.heard.reserve(1);
  const std::string large(5'000, 'x');
  const auto write = [&] {
    memory = 1;  // for the copy that the test keeps
    const u32 status = log(nullptr, 1, 2, large.c_str(), 3, nullptr, "%d", 4);
    EXPECT_EQ(std::exchange(memory, -1), 0);
    return status;
  };
  EXPECT_EQ(complaintOf(0, write), "-/- level 1 code 2 -:3 " + large + "4\n");
}

// With its guard bytes, the encoding is longer than 32 bits can count.
TEST_F(Platform, RefusesAnEncodingOfFourGigabytes) {
  const u8 bytes[8] = {};
  MQC_BrkBatchMsg batch = {0, 0, 0, sizeof bytes, bytes};
  IdlMsgDesc desc;
  MqcFesIntf_ProcMqcBatchMsgSetIdl(&desc);
  batch.f3_len += UINT32_MAX - desc.pack(nullptr, &batch);
  EXPECT_EQ(complaintOf(TARN_STATUS_NO_RESOURCES,
                        [&] { return MqcFesIntf_ProcMqcBatchMsg(&batch, nullptr); }),
            "tarn_loopback: ProcMqcBatchMsg: no memory for an encoding of 4294967295 bytes\n");
}
