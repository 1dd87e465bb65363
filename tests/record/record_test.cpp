// The recorder between the library and a device's platform: calls arrive unchanged, and are in the
// recording.

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <thread>

#include "device.h"
#include "record/child.h"
#include "record/reading.h"
#include "tarn/rpc.h"

namespace {

struct Seen {
  std::atomic<u32> times = 0;
  u32 status = 0;
  std::thread::id thread;
};

void see(u32 status, void* userData) {
  Seen& seen = *static_cast<Seen*>(userData);
  seen.status = status;
  seen.thread = std::this_thread::get_id();
  ++seen.times;
}

class RecordTest : public testing::Test {
 protected:
  RecordTest() : device_(*theDevice()) { device_ = {}; }

  /// What has been recorded since the last time.
  std::vector<Packet> news() {
    static std::size_t known = 1;  // what the file begins with
    std::vector<Packet> packets = packetsOf(std::getenv("TARN_RECORD"));
    packets.erase(packets.begin(), packets.begin() + static_cast<std::ptrdiff_t>(known));
    known += packets.size();
    return packets;
  }
  /// A child's.
  static fs::path ownRecording() {
    return std::getenv("TARN_RECORD") + ("." + std::to_string(::getpid()));
  }
  /// So many bytes more than there are in use.
  static void limitMemory(rlim_t more) {
    rlimit limit = {};
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    EXPECT_EQ(::getrlimit(RLIMIT_AS, &limit), 0);
    const rlim_t used = pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
    limit.rlim_cur = more < limit.rlim_max - used ? used + more : limit.rlim_max;
    EXPECT_EQ(::setrlimit(RLIMIT_AS, &limit), 0);
  }
  /// On a thread of the platform.
  static void runCallback(const AsyncCallCtx& ctx, u32 status) {
    std::thread([&] { ctx.cb(status, ctx.userData); }).join();
  }

  Device& device_;
  const MQC_RuleMac request_ = {.f3 = 37};
};

Bytes encoded(const IdlMsgDesc& desc, const void* req) {
  u32 size = desc.pack(nullptr, req);
  Bytes bytes(size);
  PackBuf cursor = {bytes.data(), &size};
  EXPECT_EQ(desc.pack(&cursor, req), bytes.size());
  return bytes;
}

TEST_F(RecordTest, HandsOnAndRecordsEveryVariant) {
  IdlMsgDesc desc;
  MqcFesIntf_sendRuleMacSetIdl(&desc);
  int option = 0;
  Seen seen;
  device_.status = 70'000;
  EXPECT_EQ(MqcFesIntf_sendRuleMac(&request_, &option), 70'000u);
  EXPECT_EQ(MqcFesIntf_sendRuleMac_oneway(&request_, nullptr), 70'000u);
  EXPECT_EQ(MqcFesIntf_sendRuleMac_async(&request_, nullptr, &seen, &option), 70'000u);
  device_.status = 0;
  EXPECT_EQ(MqcFesIntf_sendRuleMac_async(&request_, see, &seen, &option), 0u);
  EXPECT_EQ(seen.times, 0u);
  runCallback(device_.contexts.at(1), 5);

  EXPECT_EQ(device_.contexts.at(0).cb, nullptr);
  EXPECT_EQ(device_.contexts.at(0).userData, &seen);
  EXPECT_EQ(seen.times, 1u);
  EXPECT_EQ(seen.status, 5u);
  EXPECT_NE(seen.thread, std::this_thread::get_id());
  const struct {
    const char* kind;
    void* handle;
    u64 reqSize;
    const char* status;
  } expected[] = {{"sync", &option, sizeof request_, "70000"},
                  {"oneway", &g_stServerAddr_MqcFesIntf, 0, "70000"},
                  {"async", &option, sizeof request_, "70000"},
                  {"async", &option, sizeof request_, "5"}};
  const std::vector<Packet> packets = news();
  ASSERT_EQ(packets.size(), 8u);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(device_.calls[i].handle, expected[i].handle);
    EXPECT_EQ(device_.calls[i].req, &request_);
    EXPECT_EQ(device_.calls[i].reqSize, expected[i].reqSize);
    EXPECT_EQ(packets[2 * i].kind(), expected[i].kind);
    EXPECT_EQ(packets[2 * i].message, encoded(desc, &request_));
    EXPECT_EQ(packets[2 * i + 1].kind(), "end");
    EXPECT_EQ(packets[2 * i + 1].number(), packets[2 * i].number());
    EXPECT_EQ(packets[2 * i + 1].last(), expected[i].status);
  }
}

TEST_F(RecordTest, EachCallbackRunsOnce) {
  std::vector<Seen> seen(1000);
  device_.status = 7;
  EXPECT_EQ(MqcFesIntf_sendRuleMac_async(&request_, see, &seen[0], nullptr), 7u);
  device_.status = 0;
  for (std::size_t i = 1; i < seen.size(); ++i) {
    EXPECT_EQ(MqcFesIntf_sendRuleMac_async(&request_, see, &seen[i], nullptr), 0u);
    if (i % 2 == 0) device_.contexts[i].cb(static_cast<u32>(i), device_.contexts[i].userData);
  }
  EXPECT_EQ(news().size(), 2 + 999u + 499u);
  // Again, of the even ones, whose memory other calls have now; also of the call that was refused.
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const u32 status = i % 2 == 0 && i > 0 ? 98 : static_cast<u32>(i);
    device_.contexts[i].cb(status, device_.contexts[i].userData);
    device_.contexts[i].cb(99, device_.contexts[i].userData);
  }
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].times, 1u) << i;
    EXPECT_EQ(seen[i].status, i);
  }
  EXPECT_EQ(news().size(), 500u);
}

TEST_F(RecordTest, ACallEndsOnceAlsoIfItIsRefusedAndCalledBack) {
  Seen seen;
  device_.status = 7;
  device_.answer = 5;
  EXPECT_EQ(MqcFesIntf_sendRuleMac_async(&request_, see, &seen, nullptr), 7u);
  EXPECT_EQ(seen.times, 1u);
  const std::vector<Packet> packets = news();
  ASSERT_EQ(packets.size(), 2u);
  EXPECT_EQ(packets[1].last(), "5");
}

TEST_F(RecordTest, AChildMayRunItsParentsCallbacks) {
  std::vector<Seen> seen(3);
  const auto call = [&](std::size_t i) {
    EXPECT_EQ(MqcFesIntf_sendRuleMac_async(&request_, see, &seen[i], nullptr), 0u);
  };
  const auto end = [&](std::size_t i) {
    device_.contexts.at(i).cb(0, device_.contexts.at(i).userData);
  };
  call(0);
  call(1);
  end(1);
  inChild([&] {
    call(2);
    for (std::size_t i = 0; i < 3; ++i) end(i);
    for (const Seen& one : seen) EXPECT_EQ(one.times, 1u);
    EXPECT_EQ(packetsOf(ownRecording()).size(), 4u);
    fs::remove(ownRecording());
  });
  end(0);
  EXPECT_EQ(seen[0].times, 1u);
  EXPECT_EQ(news().size(), 4u);
}

TEST_F(RecordTest, RecordsWhatHasNoCompactEncoding) {
  IdlMsgDesc desc;
  MqcFesIntf_sendRuleMacSetIdl(&desc);
  const MethodId method = {"MqcFesIntf", "sendRuleMac"};
  const auto call = [&](const void* req, const IdlMsgDesc* with) {
    EXPECT_EQ(RPC_IdlSyncCallNoOutStub(nullptr, req, 1, &method, with), 0u);
    EXPECT_EQ(device_.calls.back().desc, with);
    EXPECT_EQ(device_.calls.back().method, &method);
    return news().at(0);
  };
  EXPECT_EQ(call(nullptr, &desc).last(), "0");
  EXPECT_EQ(call(&request_, nullptr).last(), "0");
  desc.pack = nullptr;
  Bytes full(desc.fullSize());
  desc.packFull(full.data(), &request_);
  EXPECT_EQ(call(&request_, &desc).message, full);
  desc.packFull = [](u8*, const void*) { return 1u; };
  EXPECT_EQ(call(&request_, &desc).last(), "0");
  desc.fullSize = nullptr;
  EXPECT_EQ(call(&request_, &desc).last(), "0");

  std::vector<u8> buffer(100'000, 7);
  const MQC_BrkBatchMsg batch = {.f3_len = static_cast<u32>(buffer.size()), .f3 = buffer.data()};
  MqcFesIntf_ProcMqcBatchMsgSetIdl(&desc);
  EXPECT_EQ(call(&batch, &desc).message, encoded(desc, &batch));
  desc.pack = [](PackBuf* cursor, const void*) {  // too long to be kept, so it is not made
    EXPECT_EQ(cursor, nullptr);
    return 16'777'217u;  // for a file of 16 megabytes
  };
  EXPECT_EQ(call(&request_, &desc).last(), "16777217");
  desc.pack = [](PackBuf* cursor, const void*) {  // refuses it
    EXPECT_EQ(cursor, nullptr);
    return 0u;
  };
  EXPECT_EQ(call(&request_, &desc).last(), "0");
  desc.pack = [](PackBuf* cursor, const void*) {
    if (cursor != nullptr) *cursor->buf = 9;
    return 1u;
  };
  EXPECT_EQ(call(&request_, &desc).message, Bytes{9});
}

TEST_F(RecordTest, GivesMemoryBackAndLeavesErrnoAloneWhereThereIsNone) {
  std::vector<u8> buffer(2'000'000);
  const MQC_BrkBatchMsg batch = {.f3_len = static_cast<u32>(buffer.size()), .f3 = buffer.data()};
  inChild([&] {
    // Room for one message, three times, then for none.
    for (const int calls : {3, 1}) {
      limitMemory(calls == 3 ? buffer.size() * 3 / 2 : buffer.size() / 2);
      for (int i = 0; i < calls; ++i) {
        errno = 77;
        EXPECT_EQ(MqcFesIntf_sendRuleMac(&request_, nullptr), 0u);
        EXPECT_EQ(MqcFesIntf_ProcMqcBatchMsg(&batch, nullptr), 0u);
        EXPECT_EQ(errno, 77);
      }
      limitMemory(RLIM_INFINITY);
      const std::vector<Packet> packets = packetsOf(ownRecording());
      EXPECT_EQ(packets.end()[-2].kind() == "part", calls == 3 || EMULATED);
    }
    fs::remove(ownRecording());
  });
}

TEST_F(RecordTest, LeavesOtherInterfacesAlone) {
  const MethodId other = {"Other", "sendRuleMac"};
  const IdlMsgDesc desc = {};
  Seen seen;
  const AsyncCallCtx ctx = {1, see, &seen};
  EXPECT_EQ(RPC_IdlAsyncCallNoOutStub(nullptr, &request_, &other, &desc, &ctx), 0u);
  EXPECT_EQ(device_.contexts.at(0).cb, see);
  EXPECT_EQ(RPC_IdlSyncCallNoOutStub(nullptr, &request_, 1, nullptr, &desc), 0u);
  EXPECT_EQ(RPC_IdlMsgOnewayCall(nullptr, &request_, &other, &desc), 0u);
  for (const MethodId& unnamed :
       {MethodId{nullptr, "sendRuleMac"}, MethodId{"MqcFesIntf", nullptr}}) {
    EXPECT_EQ(RPC_IdlMsgOnewayCall(nullptr, &request_, &unnamed, &desc), 0u);
  }
  EXPECT_EQ(device_.calls.size(), 5u);
  EXPECT_TRUE(news().empty());
}

TEST_F(RecordTest, ThreadsRecordWholePackets) {
  constexpr int threads = 4, calls = 200;
  std::vector<std::thread> running;
  for (int i = 0; i < threads; ++i) {
    running.emplace_back([&] {
      for (int j = 0; j < calls; ++j) MqcFesIntf_sendRuleMac(&request_, nullptr);
    });
  }
  for (std::thread& thread : running) thread.join();
  std::map<u64, std::string> open;
  for (const Packet& packet : news()) {
    const bool isEnd = packet.kind() == "end";
    EXPECT_TRUE(isEnd || open.empty() || packet.number() > open.rbegin()->first);
    EXPECT_TRUE(!isEnd || open[packet.number()] == packet.word(6));
    if (isEnd)
      open.erase(packet.number());
    else
      open[packet.number()] = packet.word(6);
  }
  EXPECT_TRUE(open.empty());
  EXPECT_EQ(device_.calls.size(), std::size_t{threads * calls});
}

}  // namespace
