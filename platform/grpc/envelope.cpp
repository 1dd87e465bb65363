#include "platform/grpc/envelope.h"

#include <flatbuffers/grpc.h>

namespace delivery {
namespace {

/// What a call takes in addition to its message, generously.
constexpr std::size_t callBytes = 96;

std::size_t roomFor(const std::vector<std::shared_ptr<StreamCall>>& calls) {
  std::size_t room = callBytes;
  for (const auto& call : calls) room += call->bytes + callBytes;
  return room;
}

/// The builder's strings, of which neighbours are often the same.
class Methods {
 public:
  flatbuffers::Offset<flatbuffers::String> of(flatbuffers::FlatBufferBuilder& builder,
                                              std::string_view method) {
    if (method != last_) offset_ = builder.CreateString(method);
    last_ = method;
    return offset_;
  }

 private:
  std::string_view last_;
  flatbuffers::Offset<flatbuffers::String> offset_;
};

}  // namespace

mqc::MqcVariant variantOf(const Ending& ending) {
  if (ending.isWaitedFor) return mqc::MqcVariant_Sync;
  return ending.callback != nullptr ? mqc::MqcVariant_Async : mqc::MqcVariant_Oneway;
}

grpc::ByteBuffer envelopeOf(const std::vector<std::shared_ptr<StreamCall>>& calls) {
  flatbuffers::grpc::MessageBuilder builder(static_cast<flatbuffers::uoffset_t>(roomFor(calls)));
  Methods methods;
  std::vector<flatbuffers::Offset<mqc::MqcCall>> offsets;
  offsets.reserve(calls.size());
  for (const auto& call : calls) {
    const auto method = methods.of(builder, call->method());
    const auto message = builder.CreateVector(call->message().bytes.get(), call->message().size);
    offsets.push_back(
        mqc::CreateMqcCall(builder, call->sequence, method, variantOf(call->ending), message));
  }
  builder.Finish(mqc::CreateMqcCalls(builder, builder.CreateVector(offsets)));
  const auto message = builder.ReleaseMessage<mqc::MqcCalls>();
  return grpc::ByteBuffer(&message.BorrowSlice(), 1);
}

const mqc::MqcAnswers* Answers::root() {
  flatbuffers::Verifier verifier(bytes_.data(), bytes_.size());
  if (!verifier.VerifyBuffer<mqc::MqcAnswers>(nullptr)) return nullptr;
  return flatbuffers::GetRoot<mqc::MqcAnswers>(bytes_.data());
}

}  // namespace delivery
