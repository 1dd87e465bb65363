#ifndef TESTS_PLATFORM_H
#define TESTS_PLATFORM_H

// Shared by tests of platforms: what is written to stderr and to files, and a directory for each
// test.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tarn/log.h"
#include "tarn/loopback.h"

namespace fs = std::filesystem;
using Bytes = std::vector<u8>;

/// What the process's write does and has recorded.
struct Writing {
  std::atomic<bool> listens = false;  ///< to stderr
  std::vector<std::string> heard;     ///< a write each
  std::size_t most = SIZE_MAX;        ///< bytes of a file at a time, interrupted in between
  std::size_t room = SIZE_MAX;        ///< bytes until the disk is full
  bool interrupted = false;
};

extern Writing writing;

struct Inbox {
  struct Seen {
    TarnMessage message;  // its pointers dangle
    Bytes compact, full;
  };
  std::vector<Seen> seen;
  u32 answer = 0;
};

inline u32 receive(const TarnMessage* m, void* userData) {
  Inbox& inbox = *static_cast<Inbox*>(userData);
  inbox.seen.push_back(
      {*m, {m->compact, m->compact + m->compactSize}, {m->full, m->full + m->fullSize}});
  return inbox.answer;
}

/// Runs something that must fail and report so in one line, of one write, which is returned.
template <class Run>
std::string complaintOf(u32 status, Run run) {
  writing.heard.clear();
  writing.listens = true;
  EXPECT_EQ(run(), status);
  writing.listens = false;
  EXPECT_EQ(writing.heard.size(), 1u);
  const std::string line = writing.heard.empty() ? "" : writing.heard[0];
  EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
  return line;
}

inline KvrOsalLogWriteFn logFunction() {
  return reinterpret_cast<KvrOsalLogWriteFn>(dlsym(RTLD_DEFAULT, KVR_OSAL_LOG_WRITE));
}

class Platform : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TarnLoopback_reset(), 0u);
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    dir = name;
  }
  void TearDown() override {
    EXPECT_EQ(TarnLoopback_reset(), 0u);
    fs::remove_all(dir);
  }

  u32 send() { return MqcFesIntf_sendClassifierTemplate(&request, nullptr); }

  std::map<std::string, Bytes> files() const {
    std::map<std::string, Bytes> all;
    for (const auto& entry : fs::directory_iterator(dir)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      all[entry.path().filename()] = Bytes(std::istreambuf_iterator<char>(in), {});
    }
    return all;
  }

  const MQC_ClassifierTemplate request{1, {}, 0, 0, 0, 0, 0};
  std::string name = testing::TempDir() + "platformXXXXXX";
  fs::path dir;  // the test's own
};

#endif
