// What the loopback does when memory ends. Not with sanitizers, whose allocation functions these are.

#include <cstdlib>
#include <new>

#include "platform.h"

/// How many allocations the thread has left before one fails; negative: no end.
thread_local long memory = -1;

// Not inline: compilers take malloc and delete for a mismatch where they see both.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return memory >= 0 && memory-- == 0 ? nullptr : std::malloc(size);
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

TEST_F(Platform, DeliversWholeOrNotAtAllWhenMemoryEnds) {
  ASSERT_EQ(TarnPlatform_setCaptureDir(dir.c_str()), 0u);
  std::atomic<u32> completed = 0;
  const auto count = [](u32, void* counter) { ++*static_cast<std::atomic<u32>*>(counter); };
  long failed = 0;
  for (u32 status = TARN_STATUS_NO_RESOURCES; status != 0; ++failed) {
    writing.listens = true;
    memory = failed;
    status = MqcFesIntf_sendClassifierTemplate_async(&request, count, &completed, &memory);
    memory = -1;
    writing.listens = false;
    ASSERT_EQ(status, status == 0 || failed == 0 ? status : u32{TARN_STATUS_NO_RESOURCES});
    EXPECT_EQ(TarnPlatform_drain(), 0u);
    const u64 delivered = status == 0 ? 1 : 0;
    EXPECT_EQ(TarnPlatform_delivered(TARN_VARIANT_ASYNC), delivered) << failed;
    EXPECT_EQ(completed, delivered) << failed;
    EXPECT_EQ(files().size(), 2 * delivered) << failed;
  }
  EXPECT_GT(failed, 10);
}
