// Loading, unloading and calling leave nothing behind: no memory, no constructor, no allocation.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/bounded_memory.h"
#include "platform/rpc.h"

namespace {

// A runtime that encodes into one static buffer, so that whatever is allocated is the library's.
u8 output[4096];
u64 encodedBytes;

u32 encode(const void* req, const IdlMsgDesc* desc) {
  u32 capacity = desc->pack(nullptr, req);
  if (capacity > sizeof output) abort();
  PackBuf cursor = {output, &capacity};
  encodedBytes += desc->pack(&cursor, req);
  if (desc->packFull != nullptr) desc->packFull(output, req);
  cursor.buf = nullptr;
  desc->pack(&cursor, req);
  return 0;
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
  for (const Export& names : exported) {
    for (const char* name : {names.sync, names.oneway}) {
      void* const function = dlsym(library, name);
      ASSERT_NE(nullptr, function) << name;
      EXPECT_EQ(0u, names.call(function, emptyRequest)) << name;
    }
  }
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

extern "C" {

#ifdef COUNT_ALLOCATIONS
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
#endif

void* RPC_GetRpcInvoke(RpcServerAddr* addr, void*) {
  return addr;
}

u32 RPC_IdlSyncCallNoOutStub(void*, const void* req, u32, const MethodId*, const IdlMsgDesc* desc) {
  return encode(req, desc);
}

u32 RPC_IdlAsyncCallNoOutStub(void*, const void* req, const MethodId*, const IdlMsgDesc* desc,
                              const AsyncCallCtx*) {
  return encode(req, desc);
}

u32 RPC_IdlMsgOnewayCall(void*, const void* req, const MethodId*, const IdlMsgDesc* desc) {
  return encode(req, desc);
}

int memset_s(void* dest, size_t, int value, size_t count) {
  std::memset(dest, value, count);
  return 0;
}

int memcpy_s(void* dest, size_t, const void* src, size_t count) {
  std::memcpy(dest, src, count);
  return 0;
}
}

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
  encodedBytes = 0;
  allocations = 0;
  for (std::size_t i = 0; i < std::size(exported); ++i)
    exported[i].call(functions[i], emptyRequest);
  EXPECT_EQ(0u, allocations);
  EXPECT_NE(0u, encodedBytes);
  ASSERT_EQ(0, dlclose(library));
  void* volatile block = malloc(1);
  free(block);
  EXPECT_NE(0u, allocations) << "allocations are not counted";
}
#endif
