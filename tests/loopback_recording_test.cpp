// What the loopback records.

#include <sys/wait.h>
#include <unistd.h>

#include "platform.h"
#include "record/reading.h"
#include "tarn/rpc.h"

namespace {

struct Recording : Platform {
  using Platform::send;

  /// Kind, status of an end or bytes of a request, and whether the message is there.
  static std::vector<std::string> textsOf(const fs::path& path) {
    std::vector<std::string> texts;
    for (const Packet& packet : packetsOf(path)) {
      if (packet.kind() == "begin") continue;
      EXPECT_EQ(packet.word(2), "sendClassifierTemplate");
      texts.push_back(packet.kind() + ' ' + packet.word(1) + ' ' + packet.last());
    }
    return texts;
  }
  u32 set(const char* file) { return TarnLoopback_setRecording((dir / file).c_str()); }
};

using Texts = std::vector<std::string>;

TEST_F(Recording, HasEveryMessageAndTheEndOfItsCall) {
  Inbox inbox;
  inbox.answer = 6;
  ASSERT_EQ(set("first"), 0u);
  EXPECT_EQ(send(), 0u);
  TarnLoopback_setReceiver(receive, &inbox);
  EXPECT_EQ(send(), 6u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_oneway(&request, nullptr), 6u);
  const std::string size = std::to_string(inbox.seen.at(0).compact.size());
  EXPECT_EQ(packetsOf(dir / "first").at(3).message, inbox.seen[0].compact);

  // Of an asynchronous call, when its callback runs, which makes another call.
  const auto call = [](u32, void* test) { EXPECT_EQ(static_cast<Recording*>(test)->send(), 0u); };
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, call, this, nullptr), 6u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, nullptr, nullptr, nullptr), 6u);
  TarnLoopback_setReceiver(nullptr, nullptr);
  TarnLoopback_setCompletionStatus(9);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate_async(&request, call, this, nullptr), 0u);
  EXPECT_EQ(TarnLoopback_drain(), 0u);
  // What is not delivered, and another interface's.
  MethodId other = {};
  other.interfaceName = "OtherIntf";
  other.methodName = "sendClassifierTemplate";
  IdlMsgDesc desc;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, nullptr);
  EXPECT_EQ(RPC_IdlMsgOnewayCall(handle, &request, &other, &desc), 0u);
  EXPECT_EQ(MqcFesIntf_sendClassifierTemplate(nullptr, nullptr), u32{TARN_STATUS_INVALID});
  complaintOf(TARN_STATUS_CAPTURE, [&] { return TarnLoopback_setCaptureDir("/absent"); });
  complaintOf(TARN_STATUS_CAPTURE, [&] { return send(); });
  EXPECT_EQ(textsOf(dir / "first"),
            (Texts{"sync 1 " + size, "end 1 0", "sync 2 " + size, "end 2 6", "oneway 3 " + size,
                   "end 3 6", "async 4 " + size, "end 4 6", "async 5 " + size, "end 5 6",
                   "async 6 " + size, "end 6 9", "sync 7 " + size, "end 7 0", "sync 8 " + size,
                   "end 8 5"}));
}

TEST_F(Recording, IsSetAndEndsAtAnyTime) {
  ASSERT_EQ(set("first"), 0u);
  const auto change = [](const TarnMessage*, void* test) -> u32 {
    return static_cast<Recording*>(test)->set("second");
  };
  TarnLoopback_setReceiver(change, this);
  for (int call = 0; call < 2; ++call) EXPECT_EQ(send(), 0u);
  EXPECT_EQ(textsOf(dir / "first").size(), 2u) << "a call stays where it began";
  for (const std::string bad : {dir / "absent" / "file", dir, dir / std::string(5'000, 'x')}) {
    const auto setBad = [&] { return TarnLoopback_setRecording(bad.c_str()); };
    const std::string line = complaintOf(TARN_STATUS_CAPTURE, setBad);
    EXPECT_EQ(line.find("tarn_loopback: recording " + bad + ": "), 0u) << line;
  }
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(textsOf(dir / "second").size(), 4u) << "what fails changes nothing";
  EXPECT_EQ(set("first"), 0u);
  TarnLoopback_setReceiver(nullptr, nullptr);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(TarnLoopback_setRecording(nullptr), 0u);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(set("second"), 0u);
  EXPECT_EQ(TarnLoopback_reset(), 0u);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(files().size(), 3u) << "first, first-1, second";
  for (const auto& open : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    EXPECT_EQ(fs::read_symlink(open, gone).string().find(dir), std::string::npos) << open;
  }
  for (const char* const file : {"first", "first-1"}) EXPECT_EQ(textsOf(dir / file).size(), 2u);
}

TEST_F(Recording, OfAChildIsItsOwn) {
  ASSERT_EQ(set("first"), 0u);
  EXPECT_EQ(send(), 0u);
  const pid_t child = fork();
  if (child == 0) _exit(static_cast<int>(send()));
  int status = 1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(textsOf(dir / "first").size(), 4u);
  EXPECT_EQ(textsOf(dir / ("first." + std::to_string(child))).size(), 2u);
}

TEST_F(Recording, ThatFailsFailsNoCall) {
  ASSERT_EQ(set("first"), 0u);
  writing.room = 10;
  EXPECT_EQ(
      complaintOf(0, [&] { return send(); }),
      "tarn_loopback: " + (dir / "first").string() +
          ": No space left on device; until this changes, calls are missing in the recording\n");
  writing.room = SIZE_MAX;
  usleep(150'000);  // when it tries again
  EXPECT_EQ(send(), 0u);
  const std::vector<Packet> packets = packetsOf(dir / "first");
  ASSERT_EQ(packets.size(), 4u);
  EXPECT_EQ(packets[1].kind(), "missing");
}

}  // namespace
