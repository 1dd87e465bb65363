#ifndef PLATFORM_ENCODE_H
#define PLATFORM_ENCODE_H

#include <memory>

#include "mqc_fes_intf.h"
#include "platform/status.h"

namespace platform {

/// An output buffer of exactly the size an encoder was promised, with guard bytes behind it.
class Encoding {
 public:
  /// Makes a buffer whose bytes are all fill; tells whether there was memory for it.
  bool allocate(u32 size, u8 fill);
  /// Drops the bytes behind length, once written.
  void shrink(u32 length) { size_ = length; }

  bool guardIntact() const;
  /// Whether the root offset points at a table start inside.
  bool rootInside() const;

  u8* bytes() const { return bytes_.get(); }
  u32 size() const { return size_; }

 private:
  std::unique_ptr<u8[]> bytes_;
  u32 size_ = 0;
  u32 allocated_ = 0;
};

/// The two encodings of a request; the full one stays empty for a method without it.
struct Encodings {
  Encoding compact;
  Encoding full;
};

/// Asks the descriptor for both encodings of a request and checks them. A fault is reported.
TarnStatus encode(const char* method, const IdlMsgDesc& desc, const void* req, Encodings& out);

}  // namespace platform

#endif
