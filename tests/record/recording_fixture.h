#ifndef TESTS_RECORD_RECORDING_FIXTURE_H
#define TESTS_RECORD_RECORDING_FIXTURE_H

// A recording whose writes, clock and numbers of processes are the test's.

#include <time.h>
#include <unistd.h>

#include <functional>
#include <optional>

#include "record/reading.h"
#include "shared/recording.h"

using shared::CallVariant;
using shared::Recording;

/// What the process's writes do.
struct Writing {
  std::size_t room = SIZE_MAX;  // bytes until the disk is full
  std::string heard;            // on stderr
  std::function<void()> then;   // once, in the middle of a write to the recording
  std::optional<timespec> now;  // on the wall clock, which stands there
};
extern Writing writing;

/// Of processes and threads, as large as the system's largest.
constexpr pid_t numbers = 4'100'000;

constexpr u64 megabyte = 1'048'576;
inline const Bytes message = {0x10, 0, 0, 0, 1, 2, 3};

class RecordingTest : public testing::Test {
 protected:
  RecordingTest() {
    writing = {};
    fs::create_directory(folder_);
    begin(megabyte);
  }
  ~RecordingTest() override { fs::remove_all(folder_); }

  void begin(u64 bytes) {
    recording_.emplace();
    EXPECT_EQ(recording_->setUp(path_.c_str(), bytes), 0);
  }
  u64 call(const Bytes& bytes = message) {
    const u64 sequence = recording_->request(CallVariant::sync, "sendRuleMac", bytes,
                                             static_cast<u32>(bytes.size()));
    recording_->end(sequence, "sendRuleMac", 9);
    return sequence;
  }
  /// Makes calls until one is recorded: after a failure there is a pause.
  void callUntilRecorded() {
    for (int i = 0; call() == 0; ++i, ::usleep(1000)) ASSERT_LT(i, 60'000);
  }
  fs::path former(int number) const { return path_.string() + "-" + std::to_string(number); }
  /// Where another process writes the file.
  fs::path own() const { return path_.string() + "." + std::to_string(::getpid()); }
  const fs::path folder_ = fs::temp_directory_path() / ("recording-" + std::to_string(::getpid()));
  const fs::path path_ = folder_ / "calls";
  std::optional<Recording> recording_;
};

#endif
