// The recording's files: their bytes, their bounds, and who writes them.

#include "shared/recording.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "record/child.h"
#include "record/recording_fixture.h"
#include "recording_writes.h"
#include "shared/report.h"
#include "shared/start_recording.h"

extern "C" const char* __tsan_default_options() {
  return "die_after_fork=0";
}

constinit const char* const shared::reporter = "recording";

Writing writing;

ssize_t writeToRecording(int file, const Bytes& bytes) {
  if (writing.then) std::exchange(writing.then, nullptr)();
  const std::size_t size = std::min(bytes.size(), writing.room);
  writing.room -= writing.room == SIZE_MAX ? 0 : size;
  if (size == 0) return errno = ENOSPC, -1;
  return systemCall()(SYS_pwrite64, file, bytes.data(), size, 0L);  // appends all the same
}

extern "C" ssize_t write(int file, const void* from, std::size_t size) {
  if (file != STDERR_FILENO) return ::syscall(SYS_write, file, from, size);
  ::pthread_testcancel();  // as the C library's does
  writing.heard.append(static_cast<const char*>(from), size);
  return static_cast<ssize_t>(size);
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (clock != CLOCK_REALTIME || !writing.now)
    return static_cast<int>(systemCall()(SYS_clock_gettime, clock, now));
  *now = *writing.now;
  return 0;
}

extern "C" pid_t getpid() noexcept {
  return numbers + static_cast<pid_t>(systemCall()(SYS_getpid));
}
extern "C" pid_t gettid() noexcept {
  return numbers + static_cast<pid_t>(systemCall()(SYS_gettid));
}

namespace {

u64 wallClock() {
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<u64>(now.tv_sec) * 1'000'000'000 + static_cast<u64>(now.tv_nsec);
}

TEST_F(RecordingTest, HasTheseBytesOnEveryMachine) {
  const u64 before = wallClock();
  EXPECT_EQ(RecordingTest::call(), 1u);
  const u64 after = wallClock();
  const std::vector<Packet> packets = packetsOf(path_);
  ASSERT_EQ(packets.size(), 3u);
  const std::string process = " process " + std::to_string(::getpid());
  const std::string call = " 1 sendRuleMac" + process + " thread " + std::to_string(::gettid());
  EXPECT_EQ(packets[0].text, "begin 1" + process + " program " + program_invocation_short_name);
  EXPECT_EQ(packets[1].text, "sync" + call + " bytes 7");
  EXPECT_EQ(packets[2].text, "end" + call + " status 9");
  EXPECT_EQ(packets[0].dissector, "data");
  EXPECT_EQ(packets[1].dissector, "mqc_sendrulemac_request");
  EXPECT_EQ(packets[2].dissector, "mqc_sendrulemac_response");
  EXPECT_EQ(packets[1].message, message);
  EXPECT_EQ(packets[2].message,
            (Bytes{12, 0, 0, 0, 0, 0, 6, 0, 8, 0, 4, 0, 6, 0, 0, 0, 9, 0, 0, 0}));
  EXPECT_LE(before, packets[1].nanoseconds);
  EXPECT_LE(packets[1].nanoseconds, packets[2].nanoseconds);
  EXPECT_LE(packets[2].nanoseconds, after);

  const Bytes head = contents(path_);
  EXPECT_EQ(Bytes(head.begin(), head.begin() + 24),
            (Bytes{0x4D, 0x3C, 0xB2, 0xA1, 2, 0, 4, 0, 0,   0, 0, 0,
                   0,    0,    0,    0,    0, 0, 4, 0, 252, 0, 0, 0}));
  struct stat made = {};
  EXPECT_EQ(::stat(path_.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 07777, 0600u);
}

TEST_F(RecordingTest, KeepsNamesAndMessagesOfAnyLength) {
  begin(16 * megabyte);
  const std::string half = "@AZ[`az{__abcdefghijklmnopqrst ";
  const std::string name = half + half + "Z", small = "@az[`az{__abcdefghijklmnopqrst ";
  for (const char* const behind : {"", "z"}) {
    recording_->end(1, name + behind, 9);
    const Packet packet = packetsOf(path_).back();
    EXPECT_EQ(packet.dissector, "mqc_" + small + small + "z_response");
    EXPECT_EQ(packet.text.find("end 1 " + name + " process "), 0u);
  }
  for (u32 size = 0; size < 700; ++size) call(Bytes(size, static_cast<u8>(size)));
  u32 size = 0;
  for (const Packet& packet : packetsOf(path_)) {
    if (packet.kind() != "sync") continue;
    EXPECT_EQ(packet.message, Bytes(size, static_cast<u8>(size)));
    ++size;
  }
  EXPECT_EQ(size, 700u);
}

TEST_F(RecordingTest, StartsWhereItsFilesCanBeMade) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_);
  for (const char* const path : {path_.c_str(), "calls", "./calls"}) {
    recording_.emplace();
    EXPECT_TRUE(shared::startRecording(*recording_, path, 4)) << path;
    EXPECT_EQ(recording_->longest(), megabyte);
    fs::current_path(before);
    call();
    EXPECT_EQ(packetsOf(path_).size(), 3u);
    recording_->close();
    fs::remove(path_);
    fs::current_path(folder_);
  }
  const bool isOurs = ::access("/", W_OK) == 0;
  EXPECT_EQ(shared::startRecording(*recording_, "/recording-that-is-not-made", 4), isOurs);
  EXPECT_FALSE(shared::startRecording(*recording_, "absent/calls", 4));
  const std::string missing = "recording absent/calls: No such file or directory\n";
  EXPECT_NE(writing.heard.find(missing), std::string::npos) << writing.heard;
  fs::current_path(before);
}

TEST_F(RecordingTest, SplitsLongMessages) {
  Bytes longOne(250'000);
  for (std::size_t i = 0; i < longOne.size(); ++i) longOne[i] = static_cast<u8>(i / 251 + i);
  begin(16 * megabyte);
  for (const std::size_t size : {261'632u, 261'633u, 600'000u}) {
    longOne.resize(size, 0x5A);
    const u64 sequence = call(longOne);
    Bytes joined;
    for (const Packet& packet : packetsOf(path_)) {
      if (packet.kind() == "begin" || packet.kind() == "end") continue;
      if (packet.number() != sequence) continue;
      EXPECT_EQ(packet.kind() + packet.word(7), joined.empty() ? "syncbytes" : "partfrom");
      EXPECT_EQ(packet.last(), std::to_string(joined.empty() ? size : joined.size()));
      EXPECT_EQ(packet.dissector, size > 261'632 ? "data" : "mqc_sendrulemac_request");
      joined.insert(joined.end(), packet.message.begin(), packet.message.end());
    }
    EXPECT_EQ(joined, longOne) << size;
  }
  writing.room = 300'000;  // in the middle of the second part
  const auto before = contents(path_);
  EXPECT_EQ(call(longOne), 0u);
  EXPECT_EQ(contents(path_), before);

  // One that a file has no room for leaves its size.
  writing.room = SIZE_MAX;
  callUntilRecorded();
  call(Bytes(4 * megabyte - before.size() - 10'000));
  EXPECT_FALSE(fs::exists(former(1)));
  const u32 tooMany = 4 * megabyte - 600;
  const u64 sequence = call(Bytes(tooMany));
  const Packet packet = packetsOf(path_).rbegin()[1];
  EXPECT_EQ(packet.number(), sequence);
  EXPECT_EQ(packet.last(), std::to_string(tooMany));
  EXPECT_TRUE(packet.message.empty());
}

TEST_F(RecordingTest, KeepsTheLatestFiles) {
  const Bytes page(4000);
  u64 last = 0;
  for (int i = 0; i < 1000; ++i) {
    errno = EWOULDBLOCK;  // of another call
    last = call(page);
  }
  EXPECT_EQ(last, 1000u);
  u64 size = 0;
  u64 expected = 0;
  for (const fs::path& path : {former(3), former(2), former(1), path_}) {
    size += fs::file_size(path);
    const std::vector<Packet> packets = packetsOf(path);
    EXPECT_EQ(packets.at(0).kind(), "begin");
    for (const Packet& packet : packets) {
      if (packet.kind() != "sync") continue;
      EXPECT_TRUE(expected == 0 || packet.number() == expected) << packet.number();
      expected = packet.number() + 1;
    }
  }
  EXPECT_EQ(expected, 1001u);
  EXPECT_LE(size, megabyte);
  EXPECT_GT(size, megabyte * 7 / 10);
  EXPECT_FALSE(fs::exists(former(4)));

  // Where somebody has taken the present file away, the former ones stay what they are.
  fs::remove(path_);
  fs::remove(former(3));
  begin(megabyte);
  call();
  EXPECT_TRUE(fs::exists(former(2)));
  EXPECT_FALSE(fs::exists(former(3)));
  fs::rename(former(2), former(3));
  recording_->close();
  call();
  EXPECT_TRUE(fs::exists(former(2)));
  EXPECT_TRUE(fs::exists(former(3)));
}

TEST_F(RecordingTest, OneFileIsWrittenByOneProcess) {
  call();
  Recording other = {};
  ASSERT_EQ(other.setUp(path_.c_str(), megabyte), 0);
  EXPECT_EQ(other.request(CallVariant::oneway, "sendRuleMac", message, 7), 1u);
  EXPECT_EQ(packetsOf(own()).back().kind(), "oneway");
  EXPECT_EQ(other.request(CallVariant::async, "sendRuleMac", message, 7), 2u);
  EXPECT_EQ(packetsOf(own()).back().kind(), "async");
  EXPECT_EQ(packetsOf(path_).size(), 3u);

  recording_->close();
  begin(megabyte);
  call();
  EXPECT_EQ(packetsOf(former(1)).size(), 3u);
}

TEST_F(RecordingTest, AChildHasItsOwn) {
  call();
  // The parent's lock is held by a thread that the child does not have.
  std::atomic<int> held = 0;
  writing.then = [&] {
    held = 1;
    while (held != 2) ::usleep(100);
  };
  std::thread writer([&] { call(); });
  while (held != 1) ::usleep(100);
  recording_->miss();
  inChild([&] {
    recording_->inChild();
    call();
    const std::vector<Packet> packets = packetsOf(own());
    EXPECT_EQ(packets.size(), 3u);
    EXPECT_EQ(packets.at(1).word(4), std::to_string(::getpid()));
    EXPECT_EQ(packets.at(1).word(6), std::to_string(::getpid()));
  });
  held = 2;
  writer.join();
  EXPECT_EQ(packetsOf(path_).size(), 6u);  // and one of what is missing
}

TEST_F(RecordingTest, IsNoCancellationPoint) {
  begin(0);  // opens and closes a file for each packet
  std::thread cancelled([&] {
    ::pthread_cancel(::pthread_self());
    EXPECT_NE(call(), 0u);
    writing.room = 0;
    EXPECT_EQ(call(), 0u);
    int state = -1;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE);
  });
  cancelled.join();
  EXPECT_NE(writing.heard.find("No space"), std::string::npos);
}

TEST_F(RecordingTest, SurvivesSignalsAndClosedDescriptors) {
  call();
  writing.then = [&] {
    EXPECT_EQ(call(), 0u);  // as in a signal's handler
    errno = 5;
  };
  errno = 77;
  EXPECT_NE(call(), 0u);
  EXPECT_EQ(errno, 77);
  EXPECT_EQ(packetsOf(path_).at(4).kind(), "missing");

  ::close(0);
  for (int file = 3; file < 1024; ++file) ::close(file);  // as daemons do
  callUntilRecorded();
  EXPECT_TRUE(fs::exists(former(1)));
  EXPECT_FALSE(fs::exists(former(2)));
  EXPECT_EQ(packetsOf(path_).back().kind(), "end");

  int pipes[2];
  ASSERT_EQ(::pipe(pipes), 0);
  int end = 520;
  for (const bool isChild : {false, true}) {
    for (int file = 512; file < end; ++file) ::dup2(pipes[1], file);  // also the recording's
    isChild ? recording_->inChild() : static_cast<void>(call());
    callUntilRecorded();
    ++end;
  }
  EXPECT_EQ(::fcntl(end - 1, F_GETFD), FD_CLOEXEC);  // the recording, behind all the others
  for (int file = 512; file < end - 1; ++file) ::close(file);
  ::close(pipes[1]);
  EXPECT_EQ(::read(pipes[0], pipes, 1), 0);

  const fs::path other = folder_ / "other";
  ::dup2(::creat(other.c_str(), 0600), end - 1);
  writing.now = {1000, 0};  // another second, for which it looks at its file
  EXPECT_NE(call(), 0u);
  EXPECT_EQ(fs::file_size(other), 0u);
}

}  // namespace
