#include "platform/grpc/reply.h"

#include "mqc_reply_generated.h"
#include "platform/grpc/aligned.h"

namespace delivery {

std::optional<u32> statusIn(const grpc::ByteBuffer& reply) {
  if (!reply.Valid()) return {};
  Aligned bytes(reply);
  flatbuffers::Verifier verifier(bytes.data(), bytes.size());
  if (!verifier.VerifyBuffer<mqc::MqcReply>(nullptr)) return {};
  return flatbuffers::GetRoot<mqc::MqcReply>(bytes.data())->status();
}

}  // namespace delivery
