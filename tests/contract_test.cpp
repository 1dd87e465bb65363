// An encoder's tests of its arguments, its look-up of the log function, and what the shared object
// leaves behind when unloaded. Every test runs in a process of its own, since the look-up
// happens once in a process.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

#include "codec/contract.h"
#include "msg/messages.h"
#include "recorder.h"

using recorder::platform;

namespace {

std::atomic<int> lookUps = 0;
std::atomic<int> atLock = 0;
std::function<void()> duringLookUp = [] {};

}  // namespace

// The names by which this program's copy of the encoder contract knows dlsym and the lock.
extern "C" void* watchedDlsym(void* handle, const char* name) {
  EXPECT_EQ(RTLD_DEFAULT, handle);
  EXPECT_STREQ("KVR_OsalLogWrite", name);
  ++lookUps;
  duringLookUp();
  return dlsym(handle, name);
}

extern "C" int watchedLock(pthread_mutex_t* mutex) {
  ++atLock;
  return pthread_mutex_lock(mutex);
}

namespace {

const MQC_ClassifierTemplate request = {};

u32 pack(const PackBuf* cursor, const MQC_ClassifierTemplate* req) {
  return codec::pack<codec::ListOf<MQC_ClassifierTemplate>>(cursor, req, "encoder", 1330);
}

u32 pack(u8* buf, u32* pLen, const MQC_ClassifierTemplate* req) {
  const PackBuf cursor = {buf, pLen};
  return pack(&cursor, req);
}

u32 packBadly() {
  u32 capacity = 100;
  return pack(nullptr, &capacity, &request);
}

void loadLogFunction() {
  ASSERT_NE(nullptr, dlopen(RECORDER_LOG, RTLD_NOW | RTLD_GLOBAL));
}

void inItsOwnProcess(const std::function<void()>& test) {
  const pid_t child = fork();
  if (child == 0) {
    test();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
}

}  // namespace

TEST(Contract, BadArgumentsAreLoggedAsTheyAre) {
  inItsOwnProcess([] {
    loadLogFunction();
    u8 out[100];
    const struct {
      u8* buf;
      u32 capacity;
      const MQC_ClassifierTemplate* req;
      const char* logged;
    } rows[] = {{out, 3, &request, "nonNull, 3, nonNull"},
                {nullptr, 100, &request, "null, 100, nonNull"},
                {nullptr, UINT32_MAX, nullptr, "null, 4294967295, null"},
                {out, 4, nullptr, "nonNull, 4, null"}};
    std::vector<std::string> expected;
    const auto expect = [&expected](const char* arguments) {
      expected.push_back(
          "VELTA VELTA_TORVAL_SERIAL 25088 2 22 '' encoder:1330 [VELTA]:Param invalid(" +
          std::string(arguments) + ")");
    };
    for (auto [buf, capacity, req, logged] : rows) {
      EXPECT_EQ(0u, pack(buf, &capacity, req));
      expect(logged);
    }
    EXPECT_EQ(0u, pack(out, nullptr, &request));
    expect("nonNull, 0, nonNull");
    EXPECT_EQ(expected, platform.logged);
    u32 four = 4;
    EXPECT_EQ(66u, pack(out, &four, &request)) << "only 4 bytes of capacity are required";
    EXPECT_EQ(4u, four) << "the capacity is read, never written";
  });
}

TEST(Contract, SizeQueryLooksNothingUp) {
  inItsOwnProcess([] {
    EXPECT_EQ(0u, pack(nullptr, nullptr));
    EXPECT_EQ(66u, pack(nullptr, &request));
    EXPECT_EQ(0, lookUps + atLock);
  });
}

// The first look-up lasts until every other thread waits for it, or has been through.
TEST(Contract, LogFunctionIsLookedUpOnceUnderARace) {
  inItsOwnProcess([] {
    loadLogFunction();
    constexpr int threads = 4;
    std::atomic<int> through = 0;
    std::vector<std::thread> racers;
    duringLookUp = [&] {
      if (lookUps > 1) return;
      while (static_cast<int>(racers.size()) < threads) {
        racers.emplace_back([&] {
          EXPECT_EQ(0u, packBadly());
          ++through;
        });
      }
      while (std::max<int>(atLock - 1, lookUps - 1) + through < threads) std::this_thread::yield();
    };
    EXPECT_EQ(0u, packBadly());
    for (std::thread& racer : racers) racer.join();
    EXPECT_EQ(1, lookUps);
    EXPECT_EQ(threads + 1, static_cast<int>(platform.logged.size()));
  });
}

// Only the library itself publishes one thread's look-up to the other: a thread sanitizer detects
// any weaker order.
TEST(Contract, LogFunctionIsKnownToAThreadThatComesLater) {
  inItsOwnProcess([] {
    loadLogFunction();
    std::atomic<bool> lookedUp = false;
    std::thread later([&lookedUp] {
      while (!lookedUp.load(std::memory_order_relaxed)) std::this_thread::yield();
      EXPECT_EQ(0u, packBadly());
    });
    EXPECT_EQ(0u, packBadly());
    lookedUp.store(true, std::memory_order_relaxed);
    later.join();
    EXPECT_EQ(1, atLock) << "the second finds it without the lock";
    EXPECT_EQ(2u, platform.logged.size());
  });
}

TEST(Contract, ProcessWithoutLogFunctionStaysSilent) {
  inItsOwnProcess([] {
    EXPECT_EQ(0u, packBadly());
    loadLogFunction();
    EXPECT_EQ(0u, packBadly());
    EXPECT_EQ(1, lookUps);
    EXPECT_TRUE(platform.logged.empty()) << "a function that comes later is not used";
  });
}

TEST(Contract, SharedObjectIsLoadedAndUnloadedAThousandTimes) {
  inItsOwnProcess([] {
    struct mallinfo2 before = {};
    for (int i = 0; i < 1000; ++i) {
      void* const library = dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL);
      ASSERT_NE(nullptr, library) << dlerror();
      const auto* const server =
          static_cast<const RpcServerAddr*>(dlsym(library, "g_stServerAddr_MqcFesIntf"));
      const u8 zeros[sizeof server->runtime] = {};
      EXPECT_EQ(0, std::memcmp(server->runtime, zeros, sizeof zeros));
      EXPECT_STREQ("MqcFesIntf", server->interfaceName);
      void* const send = dlsym(library, "MqcFesIntf_sendClassifierTemplate");
      platform = {};
      reinterpret_cast<decltype(&MqcFesIntf_sendClassifierTemplate)>(send)(&request, nullptr);
      EXPECT_EQ(66u, platform.sent.at(0).desc.pack(nullptr, &request));
      ASSERT_EQ(0, dlclose(library));
      if (i == 9) before = mallinfo2();
    }
    EXPECT_LE(mallinfo2().uordblks, before.uordblks + 4096) << "bytes in use grew with the loads";
    std::ifstream maps("/proc/self/maps");
    const std::string mapped(std::istreambuf_iterator<char>(maps), {});
    EXPECT_EQ(std::string::npos, mapped.find("libtarn_cli_mqc")) << "still mapped";
  });
}
