#include "platform/loopback/recording.h"

#include <string_view>

#include "shared/start_recording.h"

namespace loopback {

Recording::~Recording() {
  calls.close();
}

bool Recording::start() noexcept {
  return shared::startRecording(calls, path.c_str(), shared::usualMegabytes);
}

RecordedCall::RecordedCall(std::shared_ptr<Recording> recording,
                           const TarnMessage& message) noexcept {
  const std::string_view interface = message.method.interfaceName;
  if (recording == nullptr || interface != "MqcFesIntf") return;
  constexpr shared::CallVariant variants[] = {shared::CallVariant::sync, shared::CallVariant::async,
                                              shared::CallVariant::oneway};
  const std::string_view method = message.method.methodName;
  methodSize_ = method.copy(method_.data(), method_.size());
  recording_ = std::move(recording);
  sequence_ =
      recording_->calls.request(variants[message.variant], method,
                                {message.compact, message.compactSize}, message.compactSize);
}

void RecordedCall::end(u32 status) const noexcept {
  if (recording_ != nullptr)
    recording_->calls.end(sequence_, {method_.data(), methodSize_}, status);
}

}  // namespace loopback
