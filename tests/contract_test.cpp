// What an encoder does with its arguments before it encodes, and how it finds the log function.
// Every test runs in a process of its own, since the look-up happens once in a process.

#include <dlfcn.h>
#include <sys/wait.h>

#include <atomic>
#include <functional>
#include <thread>

#include "msg/encoders.h"
#include "recorder.h"
#include "wire.h"

using recorder::platform;

namespace {

std::atomic<int> lookUps = 0;

}  // namespace

// The name by which this program's copy of the encoder contract knows dlsym.
extern "C" void* countedDlsym(void* handle, const char* name) {
  EXPECT_EQ(RTLD_DEFAULT, handle);
  EXPECT_STREQ("KVR_OsalLogWrite", name);
  ++lookUps;
  return dlsym(handle, name);
}

namespace {

const MQC_ClassifierTemplate request = {};

u32 pack(u8* buf, u32* pLen, const MQC_ClassifierTemplate* req) {
  PackBuf cursor = {buf, pLen};
  return MQC_ClassifierTemplate_pack(&cursor, req);
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
    u32 three = 3;
    u32 four = 4;
    u32 hundred = 100;
    u32 most = UINT32_MAX;
    EXPECT_EQ(0u, pack(out, &three, &request));
    EXPECT_EQ(0u, pack(nullptr, &hundred, &request));
    EXPECT_EQ(0u, pack(nullptr, &most, nullptr));
    EXPECT_EQ(0u, pack(out, &four, nullptr));
    EXPECT_EQ(0u, pack(out, nullptr, &request));
    EXPECT_EQ(0u, pack(nullptr, nullptr, nullptr));
    std::vector<std::string> messages;
    for (const auto& logged : platform.logged) messages.push_back(logged.message);
    const std::vector<std::string> expected = {
        "[VELTA]:Param invalid(nonNull, 3, nonNull)",
        "[VELTA]:Param invalid(null, 100, nonNull)",
        "[VELTA]:Param invalid(null, 4294967295, null)",
        "[VELTA]:Param invalid(nonNull, 4, null)",
        "[VELTA]:Param invalid(nonNull, 0, nonNull)",
        "[VELTA]:Param invalid(null, 0, null)",
    };
    EXPECT_EQ(expected, messages);
    EXPECT_EQ(66u, pack(out, &four, &request)) << "only 4 bytes of capacity are asked for";
    EXPECT_EQ(4u, four) << "the capacity is read, never written";
  });
}

TEST(Contract, SizeQueryLooksNothingUp) {
  inItsOwnProcess([] {
    EXPECT_EQ(0u, MQC_ClassifierTemplate_pack(nullptr, nullptr));
    EXPECT_EQ(66u, MQC_ClassifierTemplate_pack(nullptr, &request));
    EXPECT_EQ(0, lookUps);
  });
}

TEST(Contract, LogFunctionIsLookedUpOnceUnderARace) {
  inItsOwnProcess([] {
    loadLogFunction();
    constexpr int threads = 16;
    std::atomic<int> ready = 0;
    std::vector<std::thread> racers;
    for (int i = 0; i < threads; ++i) {
      racers.emplace_back([&] {
        ++ready;
        while (ready < threads) std::this_thread::yield();
        EXPECT_EQ(0u, packBadly());
      });
    }
    for (std::thread& racer : racers) racer.join();
    EXPECT_EQ(1, lookUps);
    EXPECT_EQ(threads, static_cast<int>(platform.logged.size()));
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
