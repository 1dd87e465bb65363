#ifndef CODEC_BYTES_H
#define CODEC_BYTES_H

// The one place that knows the host's byte order. Words are little-endian on the wire and lie at
// any address there, so every access is a copy of bytes.

#include <bit>
#include <cstddef>

#include "mqc_fes_intf.h"

#define CODEC_INLINE [[gnu::always_inline]] inline

namespace codec {

/// The nested record that stands at member in the caller's record.
template <class Record>
CODEC_INLINE const Record* nestedRecord(const u8* member) {
  return static_cast<const Record*>(static_cast<const void*>(member));
}

/// Reads a word of a record, in host order.
template <class Word>
CODEC_INLINE Word load(const u8* from) {
  Word word;
  __builtin_memcpy(&word, from, sizeof word);
  return word;
}

constexpr u8 swapBytes(u8 word) {
  return word;
}
constexpr u16 swapBytes(u16 word) {
  return __builtin_bswap16(word);
}
constexpr u32 swapBytes(u32 word) {
  return __builtin_bswap32(word);
}

/// Writes a word to the wire.
template <std::endian Host = std::endian::native, class Word>
CODEC_INLINE void store(u8* out, Word word) {
  if constexpr (Host == std::endian::big) word = swapBytes(word);
  __builtin_memcpy(out, &word, sizeof word);
}

/// Writes the count words of a record that start at from.
template <class Word, std::endian Host = std::endian::native>
CODEC_INLINE void storeArray(u8* out, const u8* from, std::size_t count) {
  if constexpr (Host == std::endian::little || sizeof(Word) == 1) {
    __builtin_memcpy(out, from, count * sizeof(Word));
  } else {
    for (std::size_t i = 0; i < count; ++i) {
      store<Host>(out + i * sizeof(Word), load<Word>(from + i * sizeof(Word)));
    }
  }
}

/// Writes words of mixed widths that are neighbours in the record: one block copy where the host's
/// order is the wire's.
template <std::endian Host, class... Words>
CODEC_INLINE void storeRun(u8* out, const u8* from) {
  if constexpr (Host == std::endian::little) {
    __builtin_memcpy(out, from, (sizeof(Words) + ...));
  } else {
    std::size_t at = 0;
    ((store<Host>(out + at, load<Words>(from + at)), at += sizeof(Words)), ...);
  }
}

}  // namespace codec

#endif
