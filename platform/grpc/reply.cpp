#include "platform/grpc/reply.h"

#include <flatbuffers/flatbuffers.h>
#include <grpcpp/support/slice.h>

#include <algorithm>
#include <vector>

namespace delivery {
namespace {

/// The schema's table MqcReply, reduced to what is read here.
struct MqcReply : private flatbuffers::Table {
  static constexpr flatbuffers::voffset_t statusField = 4;

  bool Verify(flatbuffers::Verifier& verifier) const {
    return VerifyTableStart(verifier) && VerifyField<u32>(verifier, statusField, sizeof(u32)) &&
           verifier.EndTable();
  }
  u32 status() const { return GetField<u32>(statusField, 0); }
};

/// The bytes of a reply, aligned so that words may be read; gRPC's may lie at any address.
class Aligned {
 public:
  explicit Aligned(const grpc::ByteBuffer& reply) : words_((reply.Length() + 7) / 8) {
    std::vector<grpc::Slice> slices;
    if (!reply.Dump(&slices).ok()) return;
    for (const grpc::Slice& slice : slices) {
      std::copy_n(slice.begin(), slice.size(), bytes() + size_);
      size_ += slice.size();
    }
  }
  u8* bytes() { return reinterpret_cast<u8*>(words_.data()); }
  std::size_t size() const { return size_; }

 private:
  std::vector<u64> words_;
  std::size_t size_ = 0;
};

}  // namespace

std::optional<u32> statusIn(const grpc::ByteBuffer& reply) {
  if (!reply.Valid()) return {};
  Aligned aligned(reply);
  flatbuffers::Verifier verifier(aligned.bytes(), aligned.size());
  if (!verifier.VerifyBuffer<MqcReply>(nullptr)) return {};
  return flatbuffers::GetRoot<MqcReply>(aligned.bytes())->status();
}

}  // namespace delivery
