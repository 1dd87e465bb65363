// The counts of channels, and the file that shows them. Each test's body runs in a child that has
// not used gRPC yet: this process never does.

#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstdlib>
#include <ctime>

#include "grpc/counts.h"

namespace {

std::atomic<long> clockAhead = 0;  // seconds, of the monotonic clock before the kernel's
std::atomic<bool> isPrivileged = false;
std::atomic<bool> isOrphan = false;

}  // namespace

// Replacements that show the runtime a later time, or another user's rights.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  if (clock == CLOCK_MONOTONIC) time->tv_sec += clockAhead;
  return result;
}
// Looking for leaks, LSan waits in a child for a lock that a thread held which the child has not.
extern "C" int __lsan_is_turned_off() {
  return isOrphan;
}
extern "C" char* secure_getenv(const char* name) noexcept {
  return isPrivileged ? nullptr : getenv(name);
}

namespace {

class GrpcStats : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    std::filesystem::create_directory(folder = dir / "metrics");
    file = folder / "mqc.prom";
    setenv("TARN_GRPC_STATS", file.c_str(), 1);
  }
  void TearDown() override {
    unsetenv("TARN_GRPC_STATS");
    ServiceTest::TearDown();
  }

  std::string content() const {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
  }
  /// Waits until the file holds these series.
  void expectFile(const Series& expected) const {
    const auto isIncluded = [&] {
      const Series found = seriesIn(content());
      return std::includes(found.begin(), found.end(), expected.begin(), expected.end());
    };
    for (int i = 0; i < 300 && !isIncluded(); ++i) usleep(100'000);
    EXPECT_TRUE(isIncluded()) << content() << testing::PrintToString(expected);
  }

  std::filesystem::path folder, file;
};

/// A channel and what has become of its calls.
struct Used {
  void call(const MQC_ClassifierTemplate& request) {
    ++seen[MqcFesIntf_sendClassifierTemplate(&request, opt)];
  }
  /// The callback, or a refusal, is seen by the end of a drain.
  void callAsync(const MQC_ClassifierTemplate& request) {
    const auto note = [](u32 status, void* all) { ++(*static_cast<Seen*>(all))[status]; };
    const u32 status = MqcFesIntf_sendClassifierTemplate_async(&request, note, &seen, opt);
    if (status != 0) ++refused[status];
  }
  void callOneway(const MQC_ClassifierTemplate& request) {
    const u32 status = MqcFesIntf_sendClassifierTemplate_oneway(&request, opt);
    if (status != 0) ++refused[status];
  }

  void* opt;
  Seen seen{}, refused{};
};

class GrpcStatsWays : public GrpcStats, public testing::WithParamInterface<u32> {
 protected:
  /// Its counts, which must be those of the calls that it made.
  TarnGrpcStats countsOf(Used& used) const {
    IdlMsgDesc desc;
    MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
    Seen all = used.seen;
    for (const auto& [status, number] : used.refused) all[status] += number;
    const TarnGrpcStats counts = countsAt(used.opt);
    expectCounts(counts, countsAfter(all, desc.pack(nullptr, &request)));
    return counts;
  }
  void answerInEveryWay(Used& used) {
    for (const char* answer : {"garbage", "refuse", "5", "0"}) {
      stop();
      serve(answer);
      used.call(request);
      used.callAsync(request);
      EXPECT_EQ(TarnGrpc_drain(minute), 0u);
    }
    used.callOneway(request);
    EXPECT_EQ(TarnGrpc_drain(minute), 0u);
    ++used.seen[0];
  }
  void beLate(Used& hasty) {
    const auto untilAnswered = [&] {
      for (const u64 before = hasty.seen[0]; hasty.seen[0] == before;) hasty.call(request);
    };
    untilAnswered();
    freeze();
    hasty.call(request);
    thaw();
    untilAnswered();  // the end of the late call has come by then, and is not counted again
  }
  void beBusyUntilKilled(Used& used) {
    used.call(request);
    freeze();
    used.callAsync(request);
    used.callAsync(request);
    used.callOneway(request);
    EXPECT_EQ(countsAt(used.opt).underWay, 1u);
    stop();
    EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  }
};

INSTANTIATE_TEST_SUITE_P(Ways, GrpcStatsWays, testing::Values(0, 1));

TEST_P(GrpcStatsWays, CountEveryCallOnceAndShowItInTheFile) {
  inChild([&] {
    const u32 way = GetParam();
    Used used{open({.stream = way, .maxInFlight = 1, .waitForReady = 1})};
    Used hasty{open({.stream = way, .deadlineMs = 300})}, unlucky{open({.stream = way})};
    const char awkward[] = "unix:/a\"b\\c\n\xFF", label[] = "unix:/a\\\"b\\\\c\\\\n\\\\xFF";
    EXPECT_NE(open({.target = awkward}), nullptr);
    answerInEveryWay(used);
    beLate(hasty);
    beBusyUntilKilled(used);
    unlucky.call(request);

    TarnGrpcStats sum = sumOf(countsOf(used), countsOf(unlucky));
    const TarnGrpcStats slow = countsOf(hasty);
    const u64 longCalls = std::accumulate(slow.latency + 19, std::end(slow.latency), u64{0});
    EXPECT_GE(longCalls, slow.late) << "2^18 microseconds are less than the deadline";
    EXPECT_GE(slow.nanoseconds, slow.late * 300'000'000);
    sum = sumOf(sum, slow);
    for (const auto& [end, name] : ends) {
      EXPECT_EQ(sum.*end > 0, name != "not_sent" || way != 0) << name;
    }
    EXPECT_EQ(sum.busy, 2u);
    EXPECT_EQ(TarnGrpc_close(hasty.opt), 0u);
    expectFile(seriesOf(target, sum));  // with those of the closed channel
    expectFile(seriesOf(label, {}));
  });
}

TEST_F(GrpcStats, AreReadIntoTheRoomThatThereIs) {
  inChild([&] {
    void* const opt = open();
    struct Longer {
      TarnGrpcStats known;
      u64 more;
    };
    Longer stats{{.size = sizeof(Longer), .calls = 7}, 8};
    EXPECT_EQ(TarnGrpc_stats(nullptr, &stats.known), TARN_STATUS_INVALID) << "no channel yet";
    EXPECT_EQ(TarnGrpc_stats(&stats, &stats.known), TARN_STATUS_INVALID);
    EXPECT_EQ(TarnGrpc_stats(opt, nullptr), TARN_STATUS_INVALID);
    stats.known.size = sizeof(TarnGrpcStats) - 1;
    EXPECT_EQ(TarnGrpc_stats(opt, &stats.known), TARN_STATUS_INVALID);
    EXPECT_EQ(stats.known.calls, 7u);
    stats.known.size = sizeof stats;
    EXPECT_EQ(TarnGrpc_stats(opt, &stats.known), 0u);
    EXPECT_EQ(stats.known.size, sizeof(TarnGrpcStats));
    EXPECT_EQ(stats.known.calls, 0u);
    EXPECT_EQ(stats.more, 8u);
    setenv("TARN_GRPC_TARGET", target.c_str(), 1);
    call(nullptr);
    EXPECT_EQ(countsAt(nullptr).calls, 1u);
    inChild([&] { EXPECT_EQ(TarnGrpc_stats(opt, &stats.known), TARN_GRPC_FORKED); });
    EXPECT_EQ(TarnGrpc_close(opt), 0u);
    EXPECT_EQ(TarnGrpc_stats(opt, &stats.known), TARN_STATUS_INVALID);
  });
}

TEST_F(GrpcStats, LatencyIsInTheBucketOfItsTime) {
  inChild([&] {
    void* const opt = open();
    for (int i = 0; i < 50; ++i) {
      const TarnGrpcStats before = countsAt(opt);
      call(opt);
      const TarnGrpcStats after = countsAt(opt);
      const u64 time = after.nanoseconds - before.nanoseconds;
      const auto bucket = std::mismatch(before.latency, std::end(before.latency), after.latency);
      const auto index = bucket.first - before.latency;
      EXPECT_LE(time, u64{1'000} << index);
      EXPECT_GT(2 * time, u64{1'000} << index);
    }
  });
}

TEST_F(GrpcStats, FileThatCannotBeWrittenIsRefusedInOneLine) {
  const std::string missing = dir / "none" / "mqc.prom", pipe = dir / "pipe",
                    is = "TARN_GRPC_STATS is '";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);  // no device of the machine's: a fault would replace it
  const std::pair<std::string, std::string> rows[] = {
      {"", "TARN_GRPC_STATS is empty"},
      {missing, is + missing + "': No such file or directory"},
      {folder, is + folder.string() + "', which is not a regular file"},
      {pipe, is + pipe + "', which is not a regular file"}};
  inChild([&] {
    for (const auto& [value, complaint] : rows) {
      setenv("TARN_GRPC_STATS", value.c_str(), 1);
      testing::internal::CaptureStderr();
      EXPECT_EQ(open(), nullptr);
      EXPECT_EQ(testing::internal::GetCapturedStderr(), "tarn_grpc: " + complaint + '\n');
      EXPECT_EQ(TarnGrpc_lastError(), complaint);
    }
    inChild([&] {
      isPrivileged = true;
      EXPECT_NE(open(), nullptr) << "the environment is another user's";
    });
    setenv("TARN_GRPC_STATS", file.c_str(), 1);
    EXPECT_NE(open(), nullptr) << "a failed set-up is forgotten";
  });
}

TEST_F(GrpcStats, FileIsReplacedAsAWholeAndFailuresAreReportedOnceInARow) {
  inChild([&] {
    serve("0");
    std::filesystem::current_path(folder);
    setenv("TARN_GRPC_STATS", "mqc.prom", 1);
    void *const opt = open(), *const other = open({.target = "unix:/nowhere"});
    std::filesystem::current_path("/");
    const auto write = [&] {  // after the first callback, and before the second
      const auto pass = [](u32, void*) { clockAhead += 6; };
      const auto wait = [](u32, void*) {};
      EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, pass, nullptr, opt), 0u);
      EXPECT_EQ(TarnGrpc_drain(minute), 0u);
      EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, wait, nullptr, other), 0u);
      EXPECT_EQ(TarnGrpc_drain(minute), 0u);
    };
    const std::filesystem::path away = dir / "away", lines = dir / "lines";
    const auto expectLines = [&](long number) {
      std::ifstream in(lines);
      const std::string complaint =
          "tarn_grpc: TARN_GRPC_STATS is '" + file.string() + "': No such file or directory";
      long found = 0;
      for (std::string line; std::getline(in, line); ++found) EXPECT_EQ(line, complaint);
      EXPECT_EQ(found, number);
    };
    ASSERT_NE(freopen(lines.c_str(), "w", stderr), nullptr);

    std::ifstream former(file);
    write();
    expectFile(seriesOf(target, countsAt(opt)));
    std::ostringstream whole;
    whole << former.rdbuf();
    for (const auto& [name, value] : seriesIn(whole.str()))
      EXPECT_EQ(value.substr(0, 1), "0") << name;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      EXPECT_EQ(entry.path(), file);
    }
    for (const long failures : {1, 2}) {
      std::filesystem::rename(folder, away);
      for (int i = 0; i < 3; ++i) write();
      expectLines(failures);
      std::filesystem::rename(away, folder);
      write();
      expectFile(seriesOf(target, countsAt(opt)));
      expectLines(failures);
    }
  });
}

TEST_F(GrpcStats, FileIsWrittenAtTheExitAndNeverByAChild) {
  serve("0");
  setenv("TARN_GRPC_TARGET", target.c_str(), 1);
  EXPECT_EQ(exitStatus(start({EXITING, "return", dir / "ran"})), 0);
  Series series = seriesIn(content());
  const std::string label = "{target=\"" + target + '"';
  EXPECT_EQ(series["tarn_grpc_calls_total" + label + '}'], "20");
  EXPECT_EQ(std::stoi(series["tarn_grpc_ended_total" + label + ",outcome=\"succeeded\"}"]) +
                std::stoi(series["tarn_grpc_under_way" + label + '}']),
            20);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
  unsetenv("TARN_GRPC_TARGET");
  inChild([&] {
    static std::atomic<bool> isHanging = false;
    const auto hang = [](u32, void*) {
      isHanging = true;
      while (isHanging) usleep(1'000);
    };
    void* const opt = open();
    EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, hang, nullptr, opt), 0u);
    while (!isHanging) usleep(1'000);  // from now on the parent writes nothing
    std::filesystem::remove(file);
    const pid_t child = fork();
    if (child == 0) {
      isOrphan = true;
      std::exit(0);
    }
    EXPECT_EQ(exitStatus(child), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
    isHanging = false;
    EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  });
}

}  // namespace
