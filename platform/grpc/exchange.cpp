#include "platform/grpc/exchange.h"

#include "platform/grpc/failure.h"
#include "platform/grpc/reply.h"

namespace platform {

void Exchange::start(Channel& channel, const grpc::ByteBuffer& request, u64 sequence,
                     grpc::CompletionQueue& queue, void* tag) {
  context_.set_deadline(std::chrono::system_clock::now() + channel.settings().deadline);
  context_.set_wait_for_ready(channel.settings().waitForReady);
  context_.AddMetadata("mqc-sequence", std::to_string(sequence));
  reader_ = channel.stub().PrepareUnaryCall(&context_, path_, request, &queue);
  reader_->StartCall();
  reader_->Finish(&reply_, &status_, tag);
}

u32 Exchange::outcome() const {
  try {
    if (!status_.ok()) {
      const u32 code = static_cast<u32>(status_.error_code());
      return failure(path_.c_str(), TARN_GRPC_TRANSPORT + code, status_.error_message());
    }
    if (const auto status = statusIn(reply_)) return *status;
    return failure(path_.c_str(), TARN_GRPC_GARBAGE);
  } catch (const std::exception&) {
    return failure(path_.c_str(), TARN_STATUS_NO_RESOURCES);
  }
}

}  // namespace platform
