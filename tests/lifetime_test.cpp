// Loading, unloading and calling leave nothing behind: no memory, no constructor, no allocation.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "recorder.h"

using recorder::platform;

namespace {

u8 output[4096];

void encode(const recorder::Sent& sent) {
  u32 capacity = sent.desc.pack(nullptr, sent.req);
  ASSERT_GE(sizeof output, capacity);
  PackBuf cursor = {output, &capacity};
  EXPECT_EQ(capacity, sent.desc.pack(&cursor, sent.req));
  if (sent.desc.packFull != nullptr) sent.desc.packFull(output, sent.req);
  cursor.buf = nullptr;
  EXPECT_EQ(0u, sent.desc.pack(&cursor, sent.req));
}

struct Export {
  const char* sync;
  const char* oneway;
  u32 (*call)(void* function, const void* req);  ///< of either, by its own type
};

#define ROW(method, Type)                                                                        \
  {"MqcFesIntf_" #method, "MqcFesIntf_" #method "_oneway", [](void* function, const void* req) { \
     using Function = decltype(&MqcFesIntf_##method);                                            \
     return reinterpret_cast<Function>(function)(static_cast<const Type*>(req), nullptr);        \
   }},
const Export exported[] = {MQC_FES_INTF_METHODS(ROW, ROW)};
#undef ROW

alignas(8) const u8 emptyRequest[1024] = {};

void callAll(void* library) {
  platform = {};
  for (const Export& names : exported) {
    for (const char* name : {names.sync, names.oneway}) {
      void* const function = dlsym(library, name);
      ASSERT_NE(nullptr, function) << name;
      EXPECT_EQ(0u, names.call(function, emptyRequest)) << name;
    }
  }
  ASSERT_EQ(2 * std::size(exported), platform.sent.size());
  for (const recorder::Sent& sent : platform.sent) encode(sent);
}

void* load() {
  void* const library = dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(nullptr, library) << dlerror();
  return library;
}

std::string mappings() {
  std::ifstream maps("/proc/self/maps");
  return {std::istreambuf_iterator<char>(maps), {}};
}

}  // namespace

#ifdef COUNT_ALLOCATIONS
extern "C" {

static std::atomic<u64> allocations;  // compilers take malloc to touch nothing of ours

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
  ++allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  ++allocations;
  return __libc_realloc(block, size);
}
}
#endif

TEST(Lifetime, LoadedAndUnloadedAThousandTimes) {
  struct mallinfo2 before = {};
  for (int i = 0; i < 1000; ++i) {
    void* const library = load();
    ASSERT_NE(nullptr, library);
    if (i % 100 == 0) callAll(library);
    const auto* const addr =
        static_cast<const RpcServerAddr*>(dlsym(library, "g_stServerAddr_MqcFesIntf"));
    ASSERT_NE(nullptr, addr);
    EXPECT_EQ(0, std::memcmp(addr->runtime, emptyRequest, sizeof addr->runtime));
    EXPECT_STREQ("MqcFesIntf", addr->interfaceName);
    ASSERT_EQ(0, dlclose(library));
    if (i == 9) before = mallinfo2();
  }
  const struct mallinfo2 after = mallinfo2();
  EXPECT_LE(after.uordblks, before.uordblks + 4096) << "bytes in use grew with the loads";
  EXPECT_EQ(std::string::npos, mappings().find("libtarn_cli_mqc")) << "still mapped";
}

#ifdef COUNT_ALLOCATIONS
TEST(Lifetime, CallsAllocateNothing) {
  void* const library = load();
  ASSERT_NE(nullptr, library);
  callAll(library);
  void* functions[std::size(exported)];
  for (std::size_t i = 0; i < std::size(exported); ++i) {
    functions[i] = dlsym(library, exported[i].sync);
  }
  platform = {};  // with room for what it writes down
  platform.sent.reserve(100);
  platform.addresses.reserve(100);
  platform.options.reserve(100);
  platform.cleared.reserve(200);
  allocations = 0;
  for (std::size_t i = 0; i < std::size(exported); ++i) {
    exported[i].call(functions[i], emptyRequest);
    encode(platform.sent.back());
  }
  EXPECT_EQ(0u, allocations);
  ASSERT_EQ(0, dlclose(library));
  void* volatile block = malloc(1);
  free(block);
  EXPECT_NE(0u, allocations) << "allocations are not counted";
}
#endif
