#include "send/encoded.h"

namespace send {

bool encode(const Library& library, bool full, const Entry& entry, Encoded& message) {
  IdlMsgDesc desc;
  library.of(*entry.method).setIdl(&desc);
  message.isFull = full && shared::hasFull(desc);
  return (message.isFull ? shared::encodeFull : shared::encodeCompact)(
             entry.method->name, desc, entry.request.data(), message.encoding) == TARN_STATUS_OK;
}

}  // namespace send
