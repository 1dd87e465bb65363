// Reads any bytes as a reply, in slices of the length in the first byte, and compares with the
// reader that flatc generates.

#include "platform/grpc/reply.h"

#include <algorithm>
#include <vector>

#include "fuzz.h"
#include "mqc_reply_generated.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::vector<std::uint8_t> reply(data + 1, data + size);
  std::vector<grpc::Slice> slices;
  const std::size_t step = data[0] % 64 + 1;
  for (std::size_t from = 0; from < reply.size(); from += step) {
    slices.emplace_back(&reply[from], std::min(step, reply.size() - from));
  }
  const auto status = delivery::statusIn(grpc::ByteBuffer(slices.data(), slices.size()));
  flatbuffers::Verifier verifier(reply.data(), reply.size());
  const bool isWhole = verifier.VerifyBuffer<mqc::MqcReply>(nullptr);
  require(status.has_value() == isWhole, "a damaged reply is accepted, or a whole one is not");
  require(!isWhole || *status == flatbuffers::GetRoot<mqc::MqcReply>(reply.data())->status(),
          "another status");
  return 0;
}
