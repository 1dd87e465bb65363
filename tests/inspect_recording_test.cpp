// Recordings as they are read: calls with their ends, wherever those are; files that are cut.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "reader/recorded_calls.h"
#include "shared/recording.h"
#include "shared/report.h"

constinit const char* const shared::reporter = "inspect_recording";

namespace fs = std::filesystem;
using reader::Call;
using shared::CallVariant;

namespace {

constexpr u64 megabyte = 1'048'576;
using Bytes = std::vector<u8>;

class InspectRecording : public testing::Test {
 protected:
  InspectRecording() {
    fs::create_directory(folder_);
    EXPECT_EQ(writer_.setUp(path_, 1024 * megabyte), 0);
  }
  ~InspectRecording() override { fs::remove_all(folder_); }

  u64 request(u8 content, std::size_t size = 8) {
    const Bytes bytes(size, content);
    return writer_.request(CallVariant::async, "sendRuleMac", bytes, static_cast<u32>(size));
  }
  void end(u64 sequence, u32 status) { writer_.end(sequence, "sendRuleMac", status); }

  /// The calls of the files, as if they were one.
  std::vector<Call> read(const std::vector<std::string>& paths) {
    recording_ = {};
    for (const std::string& path : paths) EXPECT_EQ(recording_.add(path), "") << path;
    reader::RecordedCalls calls(recording_);
    EXPECT_EQ(calls.rewind(), "");
    std::vector<Call> found;
    for (Call call; calls.next(call);) found.push_back(call);
    missing_ = calls.missing();
    endsAlone_ = calls.endsAlone();
    return found;
  }

  const fs::path folder_ = fs::temp_directory_path() / ("inspected-" + std::to_string(::getpid()));
  const std::string path_ = folder_ / "calls";
  shared::Recording writer_ = {};
  reader::Recording recording_;
  u64 missing_ = 0;
  u64 endsAlone_ = 0;
};

TEST_F(InspectRecording, FindsEndsWhereverTheyAre) {
  const u64 slow = request(1);
  const u64 never = request(2);
  const u64 big = request(3, 40 * megabyte);
  for (u32 i = 0; i < 10'000; ++i) end(request(4), i);
  end(slow, 77);
  end(big, 78);
  end(never + 1'000'000, 9);  // of a request that is not there
  end(slow, 79);              // a second one
  const std::vector<Call> calls = read({path_});
  ASSERT_EQ(calls.size(), 10'003u);
  EXPECT_EQ(calls[0].end->status, 77u);
  EXPECT_FALSE(calls[1].end);
  EXPECT_EQ(calls[2].end->status, 78u);
  EXPECT_TRUE(calls[2].isWhole());
  for (u32 i = 0; i < 10'000; ++i) {
    const Call& call = calls[3 + i];
    ASSERT_TRUE(call.end && call.end->status == i && call.end->time >= call.time) << i;
    ASSERT_EQ(call.number, 4 + i);
  }
  EXPECT_EQ(endsAlone_, 2u);
}

TEST_F(InspectRecording, JoinsLongMessages) {
  Bytes bytes(700'000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<u8>(i / 251 + i);
  const u64 first = writer_.request(CallVariant::sync, "a", bytes, 700'000);
  const u64 second = request(5, 300'000);
  end(second, 0);
  for (int i = 0; i < 5'000; ++i) end(request(7), 0);
  end(first, 0);
  request(6, 400'000);  // never ends
  const std::vector<Call> calls = read({path_});
  ASSERT_EQ(calls.size(), 5'003u);
  EXPECT_TRUE(calls[0].message == bytes);
  EXPECT_EQ(calls[0].variant, "sync");
  EXPECT_EQ(calls[0].method, "a");
  EXPECT_TRUE(calls[1].message == Bytes(300'000, 5));
  EXPECT_TRUE(calls.back().message == Bytes(400'000, 6));
}

TEST_F(InspectRecording, TakesTheFilesOfARingAndOfAChildInAnyOrder) {
  EXPECT_EQ(writer_.setUp(path_, 100'000), 0);
  u64 before = 0;
  for (u32 i = 0; i < 1'000; ++i) {  // each end is behind the next request
    const u64 sequence = request(static_cast<u8>(i));
    if (before != 0) end(before, i - 1);
    before = sequence;
  }
  writer_.inChild();  // has a file, and here the same process
  end(before, 999);
  end(request(0xCC), 0xCC);
  const std::string own = path_ + '.' + std::to_string(::getpid());
  const std::vector<Call> calls = read({path_, own, path_ + "-1", path_ + "-2", path_ + "-3"});
  ASSERT_GT(calls.size(), 100u);
  u32 status = 1'000 - static_cast<u32>(calls.size() - 1);
  for (std::size_t i = 0; i + 1 < calls.size(); ++i, ++status) {
    ASSERT_TRUE(calls[i].end && calls[i].end->status == status) << i;
    ASSERT_EQ(calls[i].message, Bytes(8, static_cast<u8>(status)));
  }
  EXPECT_EQ(calls.back().end->status, 0xCCu);
  EXPECT_GE(endsAlone_, 1u);  // of requests in a file that has gone
  EXPECT_LE(endsAlone_, 2u);
}

TEST_F(InspectRecording, KeepsCallsOfTheSameNumberApart) {
  const u64 old = request(1);
  shared::Recording later = {};  // a program that was started again under the same number
  const std::string second = folder_ / "second";
  EXPECT_EQ(later.setUp(second, megabyte), 0);
  EXPECT_EQ(later.request(CallVariant::sync, "sendRuleMac", Bytes(8, 2), 8), old);
  later.end(old, "sendRuleMac", 5);
  const std::vector<Call> calls = read({second, path_});
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_FALSE(calls[0].end);
  EXPECT_EQ(calls[1].end->status, 5u);
}

TEST_F(InspectRecording, IsReadToWhereItIsDamaged) {
  for (u8 i = 0; i < 3; ++i) end(request(i), i);
  std::ifstream file(path_, std::ios::binary);
  const std::vector<char> whole{std::istreambuf_iterator<char>(file), {}};
  const std::string cut = folder_ / "cut";
  std::size_t most = 0;
  std::size_t unharmed = 0;
  for (std::size_t size = 24; size <= whole.size(); ++size) {
    std::ofstream(cut, std::ios::binary).write(whole.data(), static_cast<std::streamsize>(size));
    const std::vector<Call> calls = read({cut});
    EXPECT_GE(calls.size(), most);
    most = calls.size();
    for (const Call& call : calls) EXPECT_TRUE(call.isWhole());
    const std::string& damage = recording_.files()[0].damage();
    unharmed += damage.empty() ? 1 : 0;
    EXPECT_TRUE(damage.empty() || damage.starts_with("byte ")) << damage;
  }
  EXPECT_EQ(most, 3u);
  EXPECT_EQ(unharmed, 8u);  // between two packets, before the first and behind the last
  // Any byte may be another one.
  for (std::size_t at = 0; at < whole.size(); at += 5) {
    std::vector<char> other = whole;
    other[at] = static_cast<char>(other[at] ^ 0x55);
    std::ofstream(cut, std::ios::binary)
        .write(other.data(), static_cast<std::streamsize>(other.size()));
    reader::Recording recording;
    if (!recording.add(cut).empty()) continue;
    reader::RecordedCalls calls(recording);
    EXPECT_EQ(calls.rewind(), "");
    for (Call call; calls.next(call);) EXPECT_LE(call.message.size(), call.size);
  }
}

}  // namespace
