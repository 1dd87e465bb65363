// What the loopback does when there is no memory or no thread. Not with sanitizers, whose functions
// these are.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "platform.h"
#include "platform/rpc.h"

/// How many allocations the thread has left before one fails; negative: no end. None is larger than
/// 1 GiB.
thread_local long memory = -1;

extern "C" void* __libc_malloc(std::size_t size);

extern "C" void* malloc(std::size_t size) {
  const bool fails = size > 1 << 30 || (memory >= 0 && memory-- == 0);
  void* const bytes = fails ? nullptr : __libc_malloc(size);
  return bytes != nullptr ? std::memset(bytes, 0xEE, size) : nullptr;  // nothing is zero by chance
}

/// How many threads were asked for, and whether there is one.
std::atomic<int> threads = 0;
bool noThread = false;

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*run)(void*), void* argument) {
  static const auto create =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  ++threads;
  return noThread ? EAGAIN : create(thread, attributes, run, argument);
}

// Runs before anything that starts the thread.
TEST_F(Platform, AsksForItsThreadUntilThereIsOne) {
  const auto send = [&] {
    const auto nothing = [](u32, void*) {};
    return MqcFesIntf_sendClassifierTemplate_async(&request, nothing, nullptr, nullptr);
  };
  noThread = true;
  EXPECT_EQ(complaintOf(TARN_STATUS_NO_RESOURCES, send),
            "tarn_platform: no thread for completions: Resource temporarily unavailable\n");
  noThread = false;
  EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_ASYNC), 0u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(send(), 0u);
  EXPECT_EQ(threads, 2);
}

TEST_F(Platform, DeliversWholeOrNotAtAllWhenMemoryEnds) {
  ASSERT_EQ(TarnPlatform_setCaptureDir(dir.c_str()), 0u);
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
    EXPECT_EQ(TarnPlatform_drain(), 0u);
    EXPECT_EQ(status, completed == 1 ? 0u : u32{TARN_STATUS_NO_RESOURCES}) << left;
    EXPECT_EQ(files().size(), 2 * completed) << left;
    EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_ASYNC), completed) << left;
  }
  const std::string start = "tarn_platform: sendClassifierTemplate: no memory for an encoding of ";
  const std::set<std::string> told(writing.heard.begin(), writing.heard.end());
  EXPECT_EQ(told, (std::set<std::string>{start + "70 bytes\n", start + "88 bytes\n"}));
}

// With the bytes that guard it, the encoding is more than 32 bits can count.
TEST_F(Platform, RefusesAnEncodingOfFourGigabytes) {
  const u8 bytes[8] = {};
  MQC_BrkBatchMsg batch = {0, 0, 0, sizeof bytes, bytes};
  IdlMsgDesc desc;
  MqcFesIntf_ProcMqcBatchMsgSetIdl(&desc);
  batch.f3_len += UINT32_MAX - desc.pack(nullptr, &batch);
  EXPECT_EQ(complaintOf(TARN_STATUS_NO_RESOURCES,
                        [&] { return MqcFesIntf_ProcMqcBatchMsg(&batch, nullptr); }),
            "tarn_platform: ProcMqcBatchMsg: no memory for an encoding of 4294967295 bytes\n");
}
