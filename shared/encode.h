#ifndef SHARED_ENCODE_H
#define SHARED_ENCODE_H

#include <memory>
#include <utility>

#include "mqc_fes_intf.h"
#include "tarn/status.h"

namespace shared {

/// An output buffer of exactly the promised size, with guard bytes behind it.
class Encoding {
 public:
  /// Makes a buffer whose bytes are all fill; returns false on allocation failure.
  bool allocate(u32 size, u8 fill);
  /// Drops the bytes behind length, after the encoding.
  void shrink(u32 length) { size_ = length; }

  bool guardIntact() const;
  /// Whether the root offset points at a table start inside.
  bool rootInside() const;

  u8* bytes() const { return bytes_.get(); }
  u32 size() const { return size_; }
  /// Hands the bytes over; the first size() of them are the encoding.
  std::unique_ptr<u8[]> take() { return std::move(bytes_); }

 private:
  std::unique_ptr<u8[]> bytes_;
  u32 size_ = 0;
  u32 allocated_ = 0;
};

/// Whether all arguments of a call are present.
inline bool isComplete(const void* handle, const void* req, const MethodId* method,
                       const IdlMsgDesc* desc) {
  return handle != nullptr && req != nullptr && method != nullptr &&
         method->interfaceName != nullptr && method->methodName != nullptr && desc != nullptr &&
         desc->pack != nullptr;
}

/// Whether the descriptor has a full encoding, too.
inline bool hasFull(const IdlMsgDesc& desc) {
  return desc.packFull != nullptr && desc.fullSize != nullptr;
}

// Both ask the descriptor for an encoding of a request and check it. A fault is reported.

TarnStatus encodeCompact(const char* method, const IdlMsgDesc& desc, const void* req,
                         Encoding& out);
/// The descriptor has a full encoding.
TarnStatus encodeFull(const char* method, const IdlMsgDesc& desc, const void* req, Encoding& out);

}  // namespace shared

#endif
