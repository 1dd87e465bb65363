#ifndef CODEC_LAYOUT_H
#define CODEC_LAYOUT_H

// What follows from a slot list before any value is known: sizes, offsets and the bytes of the
// full encoding's vtable.

#include <array>
#include <cstddef>

#include "codec/slots.h"

namespace codec {

inline constexpr std::size_t rootOffsetSize = 4;
inline constexpr std::size_t offsetFieldSize = 4;
inline constexpr std::size_t countSize = 4;          ///< of a vector
inline constexpr std::size_t vtableHeaderSize = 4;   ///< vtable size, table size
inline constexpr std::size_t tableHeaderSize = 4;    ///< table-to-vtable offset
inline constexpr std::size_t maxTableSize = 0xFFFF;  ///< what a vtable's 16 bits can say

template <class List>
struct Layout;

template <class Record>
using LayoutOf = Layout<ListOf<Record>>;

/// Bytes of a slot inside the table of the full encoding.
template <class S>
constexpr std::size_t fullWidth() {
  if constexpr (S::kind == Kind::scalar) {
    return S::size;
  } else if constexpr (S::kind == Kind::vector) {
    return offsetFieldSize + countSize + S::size;
  } else if constexpr (S::kind == Kind::table) {
    return LayoutOf<typename S::Element>::fullSize;
  } else if constexpr (S::kind == Kind::tables) {
    return offsetFieldSize + countSize +
           S::count * (offsetFieldSize + LayoutOf<typename S::Element>::fullSize);
  } else {
    return 0;
  }
}

/// Bytes of a slot's vector body in the compact encoding, element tables aside.
template <class S>
constexpr std::size_t bodySize() {
  if constexpr (S::kind == Kind::vector) {
    return countSize + S::size;
  } else if constexpr (S::kind == Kind::tables) {
    return countSize + S::count * offsetFieldSize;
  } else {
    return 0;
  }
}

/// Bytes that a slot takes in the compact encoding whatever its value.
template <class S>
constexpr std::size_t compactBase() {
  if constexpr (S::kind == Kind::scalar || S::kind == Kind::buffer) {
    return 0;
  } else if constexpr (S::kind == Kind::vector) {
    return offsetFieldSize + bodySize<S>();
  } else {
    return (S::kind == Kind::table ? offsetFieldSize : offsetFieldSize + bodySize<S>()) +
           S::count * LayoutOf<typename S::Element>::compactBase;
  }
}

/// Bytes that the slot's values add to that at most, a buffer's own bytes aside.
template <class S>
constexpr std::size_t compactGrowth() {
  if constexpr (S::kind == Kind::scalar) {
    return S::size;
  } else if constexpr (S::kind == Kind::buffer) {
    return offsetFieldSize + countSize;
  } else if constexpr (S::kind == Kind::vector) {
    return 0;
  } else {
    return S::count * LayoutOf<typename S::Element>::compactGrowth;
  }
}

template <class... Slots>
struct Layout<SlotList<Slots...>> {
  static constexpr std::size_t size = sizeof...(Slots);
  static constexpr std::size_t vtableSize = vtableHeaderSize + 2 * size;

  static constexpr auto fullOffsets = [] {
    std::array<std::size_t, size + 1> offsets{tableHeaderSize};
    std::size_t i = 0;
    ((offsets[i + 1] = offsets[i] + fullWidth<Slots>(), ++i), ...);
    return offsets;
  }();
  static constexpr std::size_t tableSize = fullOffsets[size];
  static constexpr std::size_t vtableOffset = roundUp(tableSize, 4);
  static constexpr std::size_t fullWritten = rootOffsetSize + vtableOffset + vtableSize;
  static constexpr std::size_t fullSize = roundUp(fullWritten, 8);

  /// Bytes of the compact table that do not depend on values, the root offset not among them.
  static constexpr std::size_t compactBase =
      vtableSize + tableHeaderSize + (codec::compactBase<Slots>() + ... + 0);
  static constexpr std::size_t compactGrowth = (codec::compactGrowth<Slots>() + ... + 0);
  /// The longest compact encoding, a buffer's bytes aside.
  static constexpr std::size_t compactMax = rootOffsetSize + compactBase + compactGrowth;

  // The compact table is never longer: it has an offset field where this one has the nested block.
  // Only a buffer outgrows its table size.
  static_assert(vtableSize <= maxTableSize && tableSize <= maxTableSize,
                "table grows past what 16-bit offsets can say");

  static constexpr auto fullVtable = [] {
    std::array<u8, vtableSize> bytes{};
    std::size_t at = 0;
    const auto put = [&](std::size_t word) {
      bytes[at++] = static_cast<u8>(word);
      bytes[at++] = static_cast<u8>(word >> 8);
    };
    put(vtableSize);
    put(tableSize);
    for (std::size_t i = 0; i < size; ++i) put(fullOffsets[i]);
    return bytes;
  }();
};

}  // namespace codec

#endif
