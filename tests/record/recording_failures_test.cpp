// Every way in which the recording's files cannot be written.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "record/child.h"
#include "record/recording_fixture.h"

namespace {

TEST_F(RecordingTest, GoesOnAfterAPause) {
  for (const auto& [later, goesOn] : {std::pair<timespec, bool>{{1000, 950'000'000}, false},
                                      {{1001, 49'999'999}, false},
                                      {{1001, 50'000'000}, true},
                                      {{1000, 949'999'999}, true}}) {
    begin(megabyte);
    writing.now = {1000, 950'000'000};
    writing.room = 0;
    EXPECT_EQ(call(), 0u);
    writing.room = SIZE_MAX;
    writing.now = later;
    EXPECT_EQ(call() != 0, goesOn) << later.tv_sec << ' ' << later.tv_nsec;
    recording_->inChild();
    EXPECT_NE(call(), 0u) << "it need not wait";
    EXPECT_TRUE(fs::exists(own()));
    recording_->close();
  }
}

TEST_F(RecordingTest, GoesOnAfterAFullDisk) {
  writing.now = {1000, 0};
  call();
  const auto before = contents(path_);
  for (const std::size_t room : {0u, 1u}) {
    writing.room = room;
    writing.heard.clear();
    for (int i = 0; i < 3; ++i, ++writing.now->tv_sec) EXPECT_EQ(call(), 0u);
    EXPECT_EQ(writing.heard, "recording: " + path_.string() +
                                 ": No space left on device; until this changes, calls are missing "
                                 "in the recording\n");
    writing.room = SIZE_MAX;
    callUntilRecorded();
    const std::vector<Packet> packets = packetsOf(path_);
    const Packet& missing = packets.at(packets.size() - 3);
    EXPECT_EQ(missing.kind(), "missing");
    EXPECT_GE(missing.number(), 3u);
    EXPECT_FALSE(fs::exists(former(1)));
  }
  writing.room = 200;  // for the request, not for its end
  EXPECT_NE(call(), 0u);
  EXPECT_EQ(packetsOf(path_).back().kind(), "sync");
  writing.heard.clear();
  writing.room = 100;  // for the count of what is missing
  ++writing.now->tv_sec;
  EXPECT_EQ(call(), 0u);
  EXPECT_EQ(packetsOf(path_).back().kind(), "missing");
  EXPECT_EQ(writing.heard, "");
}

TEST_F(RecordingTest, GoesOnWhenItsFileHasGone) {
  writing.now = {1000, 0};
  call();
  fs::remove_all(folder_);
  EXPECT_NE(call(), 0u) << "goes into the file that has gone, until that is noticed";
  ++writing.now->tv_sec;
  EXPECT_EQ(call(), 0u);
  EXPECT_NE(writing.heard.find("No such file or directory"), std::string::npos) << writing.heard;
  fs::create_directory(folder_);
  ++writing.now->tv_sec;
  EXPECT_NE(call(), 0u);
  std::vector<Packet> packets = packetsOf(path_);
  ASSERT_EQ(packets.size(), 4u);
  EXPECT_EQ(packets[1].text, "missing 4 process " + std::to_string(::getpid()));

  recording_->close();
  call();
  fs::copy(path_, folder_ / "copy");
  fs::rename(folder_ / "copy", path_);
  ++writing.now->tv_sec;
  call();
  EXPECT_TRUE(fs::exists(former(2)));
  packets = packetsOf(path_);
  ASSERT_EQ(packets.size(), 4u);
  EXPECT_EQ(packets[1].number(), 3u);
}

TEST_F(RecordingTest, LeavesOtherFilesAlone) {
  const fs::path other = folder_ / "other";
  std::ofstream(other) << "a file of 24 bytes and more";
  const auto before = contents(other);
  void (*const obstacles[])(const fs::path& other, const fs::path& path) = {
      [](const fs::path& o, const fs::path& path) { fs::copy(o, path); },
      [](const fs::path& o, const fs::path& path) { fs::create_symlink(o, path); },
      [](const fs::path&, const fs::path& path) { fs::create_symlink("nothing", path); },
      [](const fs::path&, const fs::path& path) { EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0); },
      [](const fs::path&, const fs::path& path) { fs::create_directory(path); },
  };
  for (const auto& obstruct : obstacles) {
    for (const fs::path& place : {path_, former(3)}) {
      begin(0);  // a new file for each packet
      if (place != path_) call();
      fs::remove(place);
      obstruct(other, place);
      writing.heard.clear();
      EXPECT_EQ(call(), 0u);
      EXPECT_NE(writing.heard.find("a file that is no recording is in the way;"),
                std::string::npos);
      EXPECT_EQ(contents(other), before);
      EXPECT_FALSE(fs::exists(folder_ / "nothing"));
      fs::remove(place);
      callUntilRecorded();
      for (const fs::path& path : {path_, former(1), former(2)}) fs::remove(path);
    }
  }
  begin(megabyte);
  std::ofstream{path_};  // as one that has just been made
  EXPECT_NE(call(), 0u);
  EXPECT_TRUE(fs::exists(former(1)));
}

TEST_F(RecordingTest, KeepsFormerFilesWhereDescriptorsAreShort) {
  call();
  inChild([&] {
    const int lowest = ::dup(0);
    const auto limit =
        static_cast<rlim_t>(lowest) + 1;  // for a file that cannot get another number
    ::close(lowest);
    const rlimit limits = {limit, limit};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limits), 0);
    for (int i = 0; i < 4; ++i) {
      recording_.emplace();
      EXPECT_EQ(recording_->setUp((folder_ / "other").c_str(), megabyte), 0);
      EXPECT_EQ(call(), 0u);
    }
  });
  EXPECT_FALSE(fs::exists(folder_ / "other"));
}

TEST_F(RecordingTest, KeepsToTheLimitOfFileSizes) {
  inChild([&] {
    writing.now = {1000, 0};
    begin(megabyte);
    rlimit limit = {5000, 9000};
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    for (int i = 0; i < 100; ++i) EXPECT_NE(call(), 0u);
    EXPECT_NE(call(Bytes(6000)), 0u);
    EXPECT_TRUE(fs::exists(former(3)));
    for (const auto& file : fs::directory_iterator(folder_)) EXPECT_LE(file.file_size(), 5000u);

    limit.rlim_cur = 9000;
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    ++writing.now->tv_sec;  // once a second it is asked for
    call();
    call(Bytes(6000));
    EXPECT_EQ(packetsOf(path_).rbegin()[1].message.size(), 6000u);

    limit.rlim_cur = 1000;
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    begin(megabyte);
    EXPECT_EQ(call(), 0u);
    EXPECT_NE(writing.heard.find("File too large"), std::string::npos) << writing.heard;
  });
}

}  // namespace
