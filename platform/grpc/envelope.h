#ifndef PLATFORM_GRPC_ENVELOPE_H
#define PLATFORM_GRPC_ENVELOPE_H

#include <grpcpp/support/byte_buffer.h>

#include "mqc_stream_generated.h"
#include "platform/grpc/aligned.h"
#include "platform/grpc/stream_call.h"

namespace delivery {

/// What a message to the service has room for, which holds at most 65 MiB.
inline constexpr u32 longestMessage = (65 << 20) - 1024;

/// The variant that a call states to the service.
mqc::MqcVariant variantOf(const Ending& ending);

/// A message to the service with these calls.
grpc::ByteBuffer envelopeOf(const std::vector<std::shared_ptr<StreamCall>>& calls);

/// A message from the service.
class Answers {
 public:
  explicit Answers(const grpc::ByteBuffer& received) : bytes_(received) {}

  /// The answers, valid as long as this object; nullptr when the bytes are no such message.
  const mqc::MqcAnswers* root();

 private:
  Aligned bytes_;
};

}  // namespace delivery

#endif
