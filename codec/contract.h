#ifndef CODEC_CONTRACT_H
#define CODEC_CONTRACT_H

// The tests that every compact encoder makes before it encodes.

#include "codec/compact.h"

namespace codec {

/// Bytes that any encoding takes; a smaller capacity is a parameter error.
inline constexpr u32 leastCapacity = 4;

/// Logs one parameter error of the encoder called name, if the process has the platform's log
/// function, and returns 0.
[[gnu::cold, gnu::noinline, gnu::visibility("hidden")]] u32 parameterError(const char* name,
                                                                           u32 line, const u8* buf,
                                                                           u32 capacity,
                                                                           const void* req);

/// The compact encoder of the messages with this slot list; name and line are for the log.
template <class List>
CODEC_INLINE u32 pack(const PackBuf* cursor, const void* req, const char* name, u32 line) {
  const u8* const record = static_cast<const u8*>(req);
  if (cursor == nullptr) return record == nullptr ? 0 : compactSize<List>(record);
  u8* const out = cursor->buf;
  const u32 capacity = cursor->pLen == nullptr ? 0 : *cursor->pLen;
  if (record == nullptr || out == nullptr || capacity < leastCapacity) [[unlikely]] {
    return parameterError(name, line, out, capacity, req);
  }
  return packMessage<List>(out, record);
}

}  // namespace codec

#endif
