// A C++ program as a caller writes it, built with what find_package tells: sends a classifier
// template and looks at what the stand-in received.
#include <cstdio>
#include <string>
#include <vector>

#include "mqc_fes_intf.h"
#include "platform/stand_in.h"

namespace {

struct Seen {
  std::string method;
  std::vector<u8> compact;
  std::vector<u8> full;
};

u32 onMessage(const TarnMessage* message, void* userData) {
  auto& seen = *static_cast<Seen*>(userData);
  seen.method = message->method.methodName;
  seen.compact.assign(message->compact, message->compact + message->compactSize);
  seen.full.assign(message->full, message->full + message->fullSize);
  return 7;
}

}  // namespace

int main() {
  Seen seen;
  TarnPlatform_setReceiver(onMessage, &seen);
  MQC_ClassifierTemplate req{};
  req.f0 = 0xA1B2C3D4;
  const u32 status = MqcFesIntf_sendClassifierTemplate(&req, nullptr);
  TarnPlatform_setHandleAvailable(0);
  const u32 invalid = MqcFesIntf_sendClassifierTemplate_oneway(&req, nullptr);

  // f0 is the first member after the table start, in both encodings.
  const std::vector<u8> f0{0xD4, 0xC3, 0xB2, 0xA1};
  const bool compact =
      seen.compact.size() == 70 && std::vector<u8>(&seen.compact[26], &seen.compact[30]) == f0;
  const bool full = seen.full.size() == 88 && std::vector<u8>(&seen.full[8], &seen.full[12]) == f0;
  std::printf("statuses %u %u, %s: compact %s, full %s\n", status, invalid, seen.method.c_str(),
              compact ? "good" : "bad", full ? "good" : "bad");
  return !(status == 7 && invalid == MQC_STATUS_INVALID &&
           seen.method == "sendClassifierTemplate" && compact && full);
}
