// What the loopback does when there is no memory or no thread. Not with sanitizers, whose functions
// these are.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <set>

#include "platform.h"
#include "platform/rpc.h"

/// How many allocations the thread has left before one fails; negative: no end. None is larger than
/// 1 GiB.
thread_local long memory = -1;

// Not inline: compilers take malloc and delete for a mismatch where they see both.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  const bool fails = size > 1 << 30 || (memory >= 0 && memory-- == 0);
  void* const bytes = fails ? nullptr : std::malloc(size);
  return bytes != nullptr ? std::memset(bytes, 0xEE, size) : nullptr;  // nothing is zero by chance
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const bytes = operator new(size, std::nothrow);
  return bytes != nullptr ? bytes : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return operator new(size, std::nothrow);
}
[[gnu::noinline]] void operator delete(void* bytes) noexcept {
  std::free(bytes);
}
void operator delete(void* bytes, std::size_t) noexcept {
  operator delete(bytes);
}
void operator delete[](void* bytes) noexcept {
  operator delete(bytes);
}
void operator delete[](void* bytes, std::size_t) noexcept {
  operator delete(bytes);
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
  const Bytes bytes(70'000);
  const MQC_BrkBatchMsg batch = {0, 0, 0, static_cast<u32>(bytes.size()), bytes.data()};
  ASSERT_EQ(TarnPlatform_setCaptureDir(dir.c_str()), 0u);
  std::atomic<u32> completed = 0;
  const auto count = [](u32, void* counter) { ++*static_cast<std::atomic<u32>*>(counter); };
  const auto sendBatch = [&](void* opt) {
    return MqcFesIntf_ProcMqcBatchMsg_async(&batch, count, &completed, opt);
  };
  const auto sendTemplate = [&](void* opt) {
    return MqcFesIntf_sendClassifierTemplate_async(&request, count, &completed, opt);
  };
  const std::function<u32(void*)> senders[] = {sendBatch, sendTemplate};
  EXPECT_NE(RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, &completed), nullptr);
  u32 delivered = 0;
  writing.heard.clear();
  for (const auto& send : senders) {
    const std::size_t before = files().size();
    for (long failing = 0; delivered == completed; ++failing) {
      writing.listens = true;
      memory = failing;
      const u32 status = send(&completed);
      memory = -1;
      writing.listens = false;
      EXPECT_EQ(TarnPlatform_drain(), 0u);
      if (status == 0) break;
      EXPECT_EQ(status, u32{TARN_STATUS_NO_RESOURCES});
      EXPECT_EQ(files().size(), before) << failing;
    }
    EXPECT_EQ(completed, ++delivered);
    EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_ASYNC), delivered);
  }
  std::set<std::string> told(writing.heard.begin(), writing.heard.end()), expected;
  for (const auto& [file, content] : files()) {
    const std::string method = file.substr(5, file.find('.') - 5);
    expected.insert("tarn_platform: " + method + ": no memory for an encoding of " +
                    std::to_string(content.size()) + " bytes\n");
  }
  EXPECT_EQ(told, expected);
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
