#ifndef RECORD_MESSAGE_H
#define RECORD_MESSAGE_H

#include <array>
#include <span>

#include "mqc_fes_intf.h"

namespace record {

/// A request, encoded for the recording by its own descriptor: compact, or full where there is no
/// compact encoder. A request that is NULL, or that its encoder refuses, has no bytes; one that
/// would have more than the most is not encoded.
class Message {
 public:
  Message(const IdlMsgDesc* desc, const void* req, u64 most);
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  ~Message();

  /// Empty, too, where there is no memory for them.
  std::span<const u8> bytes() const { return {room_, room_ != nullptr ? size_ : 0}; }
  u32 size() const { return size_; }

 private:
  void encodeCompact(IdlPackFn pack, const void* req);
  void encodeFull(const IdlMsgDesc& desc, const void* req);
  void reserve(u32 size);

  const u64 most_;
  std::array<u8, 2048> small_;  // all but batches, in either encoding
  u8* room_ = nullptr;
  u32 size_ = 0;
  u32 mapped_ = 0;
};

}  // namespace record

#endif
