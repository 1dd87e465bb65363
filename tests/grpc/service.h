#ifndef TESTS_GRPC_SERVICE_H
#define TESTS_GRPC_SERVICE_H

// A service process for a test: service.py in a folder of its own.

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tarn/grpc.h"

/// Starts a program and returns its process id.
inline pid_t start(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t pid = 0;
  EXPECT_EQ(posix_spawnp(&pid, arguments[0], nullptr, nullptr, arguments.data(), environ), 0);
  return pid;
}

inline int exitStatus(pid_t pid) {
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + status;
}

/// Runs the body in a new process, where its expectations must hold.
template <class Body>
void inChild(Body body) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    body();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  EXPECT_EQ(exitStatus(child), 0);
}

struct Message {
  u64 sequence;
  std::string path, bytes;  // in hexadecimal pairs
};

/// How a call ended that nobody took.
constexpr u32 unavailable = TARN_GRPC_TRANSPORT + 14, late = TARN_GRPC_TRANSPORT + 4;
constexpr u32 notSent = TARN_GRPC_NOT_SENT - TARN_GRPC_TRANSPORT;  // more, over a stream

constexpr u32 minute = 60'000;

class ServiceTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(mkdtemp(name_.data()), nullptr);
    dir = name_;
    target = "unix:" + (dir / "socket").string();
  }
  void TearDown() override {
    stop();
    std::filesystem::remove_all(dir);
  }

  /// Starts a service in a folder and waits until it listens.
  static pid_t startService(const std::filesystem::path& folder, const std::string& answer,
                            const std::string& address, const std::string& certificate = "") {
    std::vector<std::string> words = {"env",  "PYTHONPATH=" SERVICE_MODULES, "ADDRESS=" + address,
                                      PYTHON, SERVICE_DIR "/service.py",     folder,
                                      answer};
    if (!certificate.empty()) words.push_back(certificate);
    const pid_t pid = start(words);
    while (!std::filesystem::remove(folder / "ready")) {
      if (waitpid(pid, nullptr, WNOHANG) != 0) {
        ADD_FAILURE() << "the service has ended";
        return 0;
      }
      usleep(10'000);
    }
    return pid;
  }
  /// Starts the test's own service.
  void serve(const std::string& answer, const std::string& certificate = "") {
    pid_ = startService(dir, answer, target, certificate);
    ASSERT_NE(pid_, 0);
  }
  void stop() {
    if (pid_ == 0) return;
    kill(pid_, SIGKILL);
    waitpid(std::exchange(pid_, 0), nullptr, 0);
  }
  /// Stops it, and waits until it has stopped: a signal takes a while to arrive.
  void freeze() const {
    int status = 0;
    kill(pid_, SIGSTOP);
    ASSERT_EQ(waitpid(pid_, &status, WUNTRACED), pid_);
    ASSERT_TRUE(WIFSTOPPED(status));
  }
  void thaw() const { kill(pid_, SIGCONT); }
  pid_t service() const { return pid_; }

  void* open(TarnGrpcOptions options = {}) const {
    if (options.size == 0) options.size = sizeof options;
    if (options.target == nullptr) options.target = target.c_str();
    if (options.deadlineMs == 0) options.deadlineMs = 60'000;
    options.stream |= stream_;
    return TarnGrpc_open(&options);
  }

  /// What the service received, in that order.
  std::vector<Message> arrived() const {
    std::vector<Message> all;
    std::ifstream in(dir / "received");
    for (Message m; in >> m.sequence >> m.path && std::getline(in >> std::ws, m.bytes);) {
      all.push_back(m);
    }
    return all;
  }
  /// The same in the order of the calls.
  std::vector<Message> received() const {
    std::vector<Message> all = arrived();
    std::sort(all.begin(), all.end(), [](auto& a, auto& b) { return a.sequence < b.sequence; });
    return all;
  }

  u32 call(void* opt) const { return MqcFesIntf_sendClassifierTemplate(&request, opt); }
  u32 oneway(void* opt) const { return MqcFesIntf_sendClassifierTemplate_oneway(&request, opt); }

  /// Sets the way of the channels that open() makes, and of other processes'.
  void travel(u32 stream) {
    setenv("TARN_GRPC_STREAM", "1", 1);
    if (stream == 0) unsetenv("TARN_GRPC_STREAM");
    stream_ = stream;
  }

  const MQC_ClassifierTemplate request{1, {}, 0, 0, 0, 0, 0};
  std::filesystem::path dir;
  std::string target;

 private:
  std::string name_ = testing::TempDir() + "mqcXXXXXX";
  pid_t pid_ = 0;
  u32 stream_ = 0;
};

/// Runs each test both ways: 0 for calls of their own, 1 for the stream.
class EitherWay : public ServiceTest, public testing::WithParamInterface<u32> {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    travel(GetParam());
  }
  void TearDown() override {
    travel(0);
    ServiceTest::TearDown();
  }
  bool isStream() const { return GetParam() != 0; }
  /// The status of a call that no service takes; a stream's is known not to be sent.
  u32 unsent(u32 status) const { return status + (isStream() ? notSent : 0); }
};

/// The results that the callbacks of asynchronous calls received.
class Endings {
 public:
  explicit Endings(std::size_t calls) : cells_(calls) {}

  u32 call(std::size_t i, const MQC_ClassifierTemplate& request, void* opt) {
    const auto note = [](u32 status, void* cell) {
      *static_cast<std::atomic<u64>*>(cell) += once_ | status;
    };
    return MqcFesIntf_sendClassifierTemplate_async(&request, note, &cells_[i], opt);
  }
  /// The number of calls that ended once, with the status.
  long once(u32 status) const { return std::count(cells_.begin(), cells_.end(), once_ | status); }

 private:
  static constexpr u64 once_ = u64{1} << 32;

  std::vector<std::atomic<u64>> cells_;
};

#endif
