// Over a long time: a service that is killed and started again while eight threads call, every
// message counted (TARN_RESTART_SECONDS is how long, 5 by default); a stream that takes over from
// another.

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <random>
#include <set>
#include <thread>

#include "grpc/service.h"

namespace {

constexpr u32 threads = 8;

/// A thread's messages, each of which ends with the numbers of thread and message.
class Sender {
 public:
  Sender(u32 number, void* opt) : number_(number), opt_(opt) {}

  void run(const std::atomic<bool>& goesOn) {
    while (goesOn) {
      for (int i = 0; i < 20; ++i) send(false);
      send(true);
      usleep(100'000);
    }
  }

  const std::deque<u32>& statuses() const { return statuses_; }
  std::size_t inversions() const { return inversions_; }

 private:
  void send(bool isSync) {
    const auto count = static_cast<u32>(statuses_.size());
    const std::array<u32, 2> bytes = {number_, count};
    const auto* const data = reinterpret_cast<const u8*>(bytes.data());
    const MQC_BrkBatchMsg batch = {0, 0, 0, sizeof bytes, data};
    u32& status = statuses_.emplace_back(unknown);
    if (isSync) {
      status = MqcFesIntf_ProcMqcBatchMsg(&batch, opt_);
      return;
    }
    endings_.push_back({this, &status, count});
    EXPECT_EQ(MqcFesIntf_ProcMqcBatchMsg_async(&batch, note, &endings_.back(), opt_), 0u);
  }

  struct Ending {
    Sender* sender;
    u32* status;
    u32 count;
  };
  static void note(u32 status, void* userData) {
    const Ending& it = *static_cast<Ending*>(userData);
    *it.status = status;
    it.sender->inversions_ += it.count < it.sender->last_;
    it.sender->last_ = it.count;
  }

  static constexpr u32 unknown = 0xFFFFFFFF;

  const u32 number_;
  void* const opt_;
  std::deque<u32> statuses_;  // by message; written by the callbacks, too
  std::deque<Ending> endings_;
  std::size_t inversions_ = 0;
  u32 last_ = 0;
};

class GrpcRestart : public ServiceTest {
 protected:
  void killAndServe(std::chrono::seconds time) {
    std::mt19937 random(20261);
    const auto until = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < until) {
      serve("0");
      usleep(200'000 + static_cast<useconds_t>(random() % 1'000'000));
      stop();
      usleep(static_cast<useconds_t>(random() % 300'000));
    }
  }

  /// For each thread the numbers of its messages that arrived, in that order.
  std::array<std::vector<u32>, threads> numbers() const {
    std::array<std::vector<u32>, threads> all;
    for (const Message& message : arrived()) {
      std::array<unsigned, 8> b{};
      const std::string end = message.bytes.substr(message.bytes.size() - 3 * b.size());
      EXPECT_EQ(std::sscanf(end.c_str(), "%x %x %x %x %x %x %x %x", &b[0], &b[1], &b[2], &b[3],
                            &b[4], &b[5], &b[6], &b[7]),
                8);
      std::array<u8, 8> bytes{};
      std::copy(b.begin(), b.end(), bytes.begin());
      std::array<u32, 2> words{};
      std::memcpy(words.data(), bytes.data(), bytes.size());
      all.at(words[0]).push_back(words[1]);
    }
    return all;
  }
};

TEST_F(GrpcRestart, EveryMessageIsAccountedFor) {
  const char* const seconds = std::getenv("TARN_RESTART_SECONDS");
  void* const opt = open({.stream = 1, .maxInFlight = 100'000});
  std::deque<Sender> senders;
  for (u32 i = 0; i < threads; ++i) senders.emplace_back(i, opt);
  std::atomic<bool> goesOn = true;
  std::vector<std::thread> running;
  for (Sender& sender : senders) running.emplace_back([&] { sender.run(goesOn); });
  killAndServe(std::chrono::seconds(seconds == nullptr ? 5 : std::atoi(seconds)));
  goesOn = false;
  for (std::thread& thread : running) thread.join();
  ASSERT_EQ(TarnGrpc_drain(minute), 0u);
  const auto arrivals = numbers();
  std::array<std::size_t, 3> counts{};  // delivered, perhaps, certainly not
  for (u32 i = 0; i < threads; ++i) {
    const std::deque<u32>& statuses = senders[i].statuses();
    EXPECT_EQ(senders[i].inversions(), 0u);
    for (std::size_t j = 1; j < arrivals[i].size(); ++j) {
      EXPECT_LT(arrivals[i][j - 1], arrivals[i][j]) << "out of order, or twice";
    }
    std::vector<bool> hasArrived(statuses.size());
    for (const u32 number : arrivals[i]) hasArrived.at(number) = true;
    for (std::size_t j = 0; j < statuses.size(); ++j) {
      const u32 status = statuses[j];
      EXPECT_TRUE(status == 0 || status == unavailable || status == notSent + unavailable)
          << status;
      if (status != unavailable) {
        EXPECT_EQ(hasArrived[j], status == 0) << status;
      }
      ++counts[status == 0 ? 0 : status == unavailable ? 1 : 2];
    }
  }
  EXPECT_GT(counts[0], 0u);
  EXPECT_GT(counts[2], 0u);
  std::printf("%zu delivered, %zu perhaps, %zu not\n", counts[0], counts[1], counts[2]);
}

// Services limit the age of connections: streams end before, and nothing is lost.
TEST_F(GrpcRestart, StreamsTakeOverFromEachOther) {
  serve("0");
  void* const opt = open({.stream = 1});
  Endings endings(2'000);
  std::set<std::string> streams;
  std::size_t calls = 0;
  const auto count = [&] {
    std::ifstream in(dir / "streams");
    for (std::string sequence, variant, stream, message;
         in >> sequence >> variant >> stream >> message;) {
      streams.insert(stream);
    }
    return streams.size();
  };
  while (calls < 2'000 && count() < 2) {
    for (int i = 0; i < 10; ++i) EXPECT_EQ(endings.call(calls++, request, opt), 0u);
    EXPECT_EQ(call(opt), 0u);
    usleep(300'000);
  }
  EXPECT_EQ(TarnGrpc_drain(minute), 0u);
  EXPECT_EQ(streams.size(), 2u);
  EXPECT_EQ(endings.once(0), static_cast<long>(calls));
  const std::vector<Message> all = arrived();
  EXPECT_EQ(all.size(), calls + calls / 10);
  EXPECT_TRUE(std::is_sorted(all.begin(), all.end(),
                             [](auto& a, auto& b) { return a.sequence < b.sequence; }));
}

}  // namespace
