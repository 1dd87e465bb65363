#ifndef SEND_ENCODED_H
#define SEND_ENCODED_H

#include <span>

#include "send/input.h"
#include "send/library.h"
#include "shared/encode.h"

namespace send {

/// A message as the library encodes it.
struct Encoded {
  shared::Encoding encoding;
  bool isFull = false;

  std::span<const u8> bytes() const { return {encoding.bytes(), encoding.size()}; }
};

/// Encodes a request.
/// @param full in the full encoding, where the method has one
/// @return whether it could be; otherwise it has been reported why not
bool encode(const Library& library, bool full, const Entry& entry, Encoded& message);

}  // namespace send

#endif
