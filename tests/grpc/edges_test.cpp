// The delivery where a process begins, forks, ends, or lacks something. Each test's body runs in a
// child that has not used gRPC yet: this process never does.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <thread>

#include "grpc/service.h"
#include "system_open.h"

namespace {

std::atomic<long> clockAhead = 0;  // seconds, of the wall clock before the kernel's
std::atomic<bool> isPrivileged = false;
constexpr char slowFile[] = "/slow";  // whose opening takes for ever
std::atomic<bool> isRead = false;

}  // namespace

// Replacements that show the runtime another clock, another user's rights, or too few threads.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  if (clock == CLOCK_REALTIME) time->tv_sec += clockAhead;
  return result;
}
extern "C" char* secure_getenv(const char* name) noexcept {
  return isPrivileged ? nullptr : getenv(name);
}
extern "C" int open(const char* path, int flags, ...) {
  isRead = isRead || path == std::string_view(slowFile);
  while (path == std::string_view(slowFile)) pause();
  va_list rest;
  va_start(rest, flags);
  const int file = systemOpen(path, flags, rest);
  va_end(rest);
  return file;
}

namespace {

using GrpcEdges = ServiceTest;

TEST_F(GrpcEdges, TooFewDescriptorsAreAStatus) {
  for (const rlim_t most : {rlim_t{2}, rlim_t{6}}) {  // a sanitizer needs two
    inChild([&] {
      const rlimit limit = {3 + most, 3 + most};
      ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
      for (int file = 3; file < 100; ++file) close(file);
      setenv("TARN_GRPC_TARGET", target.c_str(), 1);
      EXPECT_EQ(call(nullptr), TARN_STATUS_INVALID);
      EXPECT_STREQ(TarnGrpc_lastError(), "fewer than 8 file descriptors are free");
    });
  }
}

TEST_F(GrpcEdges, PollStrategyThatAbortsIsRefused) {
  for (const char* strategy : {"bogus", "none", "", "poll,none"}) {
    inChild([&] {
      setenv("GRPC_POLL_STRATEGY", strategy, 1);
      EXPECT_EQ(open(), nullptr);
      EXPECT_EQ(TarnGrpc_lastError(), "GRPC_POLL_STRATEGY is '" + std::string(strategy) +
                                          "', not one of all, epoll1, poll");
      setenv("GRPC_POLL_STRATEGY", "epoll1,poll", 1);
      EXPECT_EQ(call(open()), unavailable);
    });
  }
}

TEST_F(GrpcEdges, ProgramsOfOtherUsersRightsDoNotObeyTheEnvironment) {
  inChild([&] {
    isPrivileged = true;
    setenv("TARN_GRPC_TARGET", target.c_str(), 1);
    EXPECT_EQ(call(nullptr), TARN_STATUS_INVALID);
    EXPECT_STREQ(TarnGrpc_lastError(), "TARN_GRPC_TARGET is missing: there is no service to call");
  });
}

/// Whether each thread of the process except this one blocks what a program waits for.
void expectSignalsBlocked() {
  const std::string self = std::to_string(gettid());
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == self) continue;
    std::ifstream status(task.path() / "status");
    for (std::string name, value; status >> name && std::getline(status, value);) {
      if (name != "SigBlk:") continue;
      const unsigned long long blocked = std::stoull(value, nullptr, 16);
      for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGCHLD, SIGALRM, SIGPIPE}) {
        EXPECT_NE(blocked >> (signal - 1) & 1, 0u) << signal << ' ' << task.path();
      }
    }
  }
}

TEST_F(GrpcEdges, SignalsAreTheProgramsOwn) {
  ASSERT_EQ(exitStatus(start({SERVICE_DIR "/certificates.sh", dir})), 0);
  const std::string ca = dir / "ca.crt";
  serve("0");
  inChild([&] {
    Endings endings(50);
    EXPECT_EQ(call(open()), 0u);
    EXPECT_EQ(call(open({.target = "dns:///localhost:1"})), unavailable);
    EXPECT_NE(open({.ca = ca.c_str()}), nullptr) << "whose files are watched";
    for (std::size_t i = 0; i < 50; ++i) EXPECT_EQ(endings.call(i, request, open()), 0u);
    EXPECT_EQ(TarnGrpc_drain(60'000), 0u);
    expectSignalsBlocked();
    sigset_t mine;
    EXPECT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &mine), 0);
    EXPECT_EQ(sigismember(&mine, SIGTERM), 0) << "the caller's mask is as it was";
  });
}

TEST_F(GrpcEdges, FilesThatAreReadHoldUpNobodyElse) {
  const TarnGrpcOptions slow = {.size = sizeof slow, .target = "unix:/nowhere", .ca = slowFile};
  for (const bool isDefault : {false, true}) {
    inChild([&] {
      void* const opt = open({.deadlineMs = 500});
      setenv("TARN_GRPC_TARGET", "unix:/nowhere", 1);
      setenv("TARN_GRPC_CA", slowFile, 1);
      std::thread([&] { isDefault ? void(call(nullptr)) : void(TarnGrpc_open(&slow)); }).detach();
      while (!isRead) usleep(1'000);
      EXPECT_EQ(call(opt), unavailable);
      inChild([&] { EXPECT_EQ(call(isDefault ? nullptr : opt), TARN_GRPC_FORKED); });
      unsetenv("TARN_GRPC_CA");
      EXPECT_EQ(call(nullptr), unavailable) << "made while the other is slow";
    });
  }
}

TEST_F(GrpcEdges, PipesAreRefusedAtOnce) {
  const std::string pipe = dir / "ca.pem";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  inChild([&] {
    EXPECT_EQ(open({.ca = pipe.c_str()}), nullptr);
    EXPECT_EQ(TarnGrpc_lastError(), "ca is '" + pipe + "', which is not a regular file");
  });
}

// OpenSSL would clean up before a handler that is older than its first use.
TEST_F(GrpcEdges, ExitHandlersMaySetUpTls) {
  static const std::string pem = dir / "damaged.pem";
  std::ofstream(pem) << "-----BEGIN CERTIFICATE-----\n";
  static const auto set = [] {
    const TarnGrpcOptions options = {
        .size = sizeof options, .target = "unix:/nowhere", .ca = pem.c_str()};
    if (TarnGrpc_open(&options) != nullptr) _exit(1);
  };
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    std::atexit(set);
    set();
    std::exit(0);
  }
  EXPECT_EQ(exitStatus(child), 0);
}

/// What a child may do after its parent has done something.
template <class Before>
void expectOfChild(u32 status, Before before) {
  inChild([&] {
    before();
    inChild([&] {
      const TarnGrpcOptions options = {.size = sizeof options,
                                       .target = "unix:/nowhere",
                                       .deadlineMs = 1'000,
                                       .waitForReady = 1};
      void* const opt = TarnGrpc_open(&options);
      const MQC_ClassifierTemplate record{};
      EXPECT_EQ(
          opt == nullptr ? TarnGrpc_drain(0) : MqcFesIntf_sendClassifierTemplate(&record, opt),
          status);
    });
  });
}

TEST_F(GrpcEdges, ChildMayCallUnlessItsParentHasBegunTo) {
  const TarnGrpcOptions none{}, nowhere = {.size = sizeof nowhere, .target = "unix:/nowhere"};
  expectOfChild(late, [] { EXPECT_EQ(TarnGrpc_drain(0), 0u); });
  expectOfChild(late, [&] { EXPECT_EQ(TarnGrpc_open(&none), nullptr); });
  expectOfChild(TARN_GRPC_FORKED, [&] { EXPECT_NE(TarnGrpc_open(&nowhere), nullptr); });
}

TEST_F(GrpcEdges, DeadlinesDoNotHangOnTheWallClock) {
  serve("0");
  freeze();
  inChild([&] {
    clockAhead = 3600;  // gRPC waits until the kernel's clock, behind this one, has caught up
    void* const opt = open({.deadlineMs = 300});
    Endings endings(2);
    EXPECT_EQ(endings.call(0, request, opt), 0u);
    EXPECT_EQ(call(opt), late);
    EXPECT_EQ(endings.call(1, request, open({.deadlineMs = 300, .waitForReady = 1})), 0u);
    EXPECT_EQ(TarnGrpc_drain(50'000), 0u);
    EXPECT_EQ(endings.once(late), 2);
  });
}

}  // namespace
