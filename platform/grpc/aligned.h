#ifndef PLATFORM_GRPC_ALIGNED_H
#define PLATFORM_GRPC_ALIGNED_H

#include <grpcpp/support/byte_buffer.h>

#include <algorithm>
#include <vector>

#include "mqc_fes_intf.h"

namespace delivery {

/// A copy of the bytes that gRPC has received, aligned so that words may be read; gRPC's may lie at
/// any address.
class Aligned {
 public:
  explicit Aligned(const grpc::ByteBuffer& received) : words_((received.Length() + 7) / 8) {
    std::vector<grpc::Slice> slices;
    if (!received.Dump(&slices).ok()) return;
    for (const grpc::Slice& slice : slices) {
      std::copy_n(slice.begin(), slice.size(), data() + size_);
      size_ += slice.size();
    }
  }
  u8* data() { return reinterpret_cast<u8*>(words_.data()); }
  std::size_t size() const { return size_; }

 private:
  std::vector<u64> words_;
  std::size_t size_ = 0;
};

}  // namespace delivery

#endif
