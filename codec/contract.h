#ifndef CODEC_CONTRACT_H
#define CODEC_CONTRACT_H

// What every compact encoder does before it encodes.

#include "codec/compact.h"

namespace codec {

/// How an encoder names itself in the log.
struct EncoderName {
  const char* name;
  u32 line;
};

/// Bytes that any encoding takes; a smaller capacity is a parameter error.
inline constexpr u32 leastCapacity = 4;

/// Logs one parameter error, if the process has the platform's log function, and returns 0.
[[gnu::cold, gnu::noinline, gnu::visibility("hidden")]] u32 parameterError(EncoderName encoder,
                                                                           const u8* buf,
                                                                           u32 capacity,
                                                                           const void* req);

/// The compact encoder of the messages with this slot list.
template <class List>
CODEC_INLINE u32 pack(const PackBuf* cursor, const void* req, EncoderName encoder) {
  const u8* const record = static_cast<const u8*>(req);
  if (cursor == nullptr) return record == nullptr ? 0 : compactSize<List>(record);
  u8* const out = cursor->buf;
  const u32 capacity = cursor->pLen == nullptr ? 0 : *cursor->pLen;
  if (record == nullptr || out == nullptr || capacity < leastCapacity) [[unlikely]] {
    return parameterError(encoder, out, capacity, req);
  }
  return packMessage<List>(out, record);
}

}  // namespace codec

#endif
