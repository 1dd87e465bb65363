#ifndef CODEC_FULL_H
#define CODEC_FULL_H

// The full encoding: every field at a fixed offset, vtable behind the table. A message and the
// block of a nested table have the same form.

#include <array>
#include <cstddef>
#include <utility>

#include "codec/layout.h"

namespace codec {

/// Writes the full encoding of rec at out, which must have room: a message, or the nested block of
/// a table. Returns 0.
template <class List>
CODEC_INLINE u32 packBlock(u8* out, const void* rec);

/// What enclosing encoders call for Record's nested block. The shared tables specialise this.
template <class Record>
inline constexpr auto nestedFullPacker = packBlock<ListOf<Record>>;

/// Scalars that are neighbours in the record are neighbours on the wire too and go out as one run.
/// Holds, at the first slot of each run, the number of its slots; 0 elsewhere.
template <class... Slots>
constexpr auto runLengths(SlotList<Slots...>) {
  std::array<std::size_t, sizeof...(Slots)> lengths{};
  std::size_t i = 0;
  std::size_t first = 0;
  std::size_t end = SIZE_MAX;
  const auto add = [&](Kind kind, std::size_t offset, std::size_t size) {
    if (offset != end) first = i;
    if (kind == Kind::scalar) ++lengths[first];
    end = kind == Kind::scalar ? offset + size : SIZE_MAX;
    ++i;
  };
  (add(Slots::kind, Slots::offset, Slots::size), ...);
  return lengths;
}

template <class List, std::size_t First, std::size_t... K>
CODEC_INLINE void packFullRun(u8* out, const u8* from, std::index_sequence<K...>) {
  storeRun<std::endian::native, typename List::template At<First + K>::Element...>(out, from);
}

/// Writes the offset field and count of a vector, which stand right before its elements.
CODEC_INLINE void packFullVectorHeader(u8* field, std::size_t count) {
  store(field, u32{offsetFieldSize});
  store(field + offsetFieldSize, static_cast<u32>(count));
}

template <class S>
CODEC_INLINE void packFullVector(u8* field, const u8* record) {
  packFullVectorHeader(field, S::count);
  storeArray<typename S::Element>(field + offsetFieldSize + countSize, record + S::offset,
                                  S::count);
}

template <class S>
CODEC_INLINE void packFullTables(u8* field, const u8* record) {
  using Element = typename S::Element;
  constexpr std::size_t blockSize = LayoutOf<Element>::fullSize;
  packFullVectorHeader(field, S::count);
  u8* const offsets = field + offsetFieldSize + countSize;
  u8* const blocks = offsets + S::count * offsetFieldSize;
  for (std::size_t i = 0; i < S::count; ++i) {
    u8* const offset = offsets + i * offsetFieldSize;
    u8* const block = blocks + i * blockSize;
    store(offset, static_cast<u32>(block + rootOffsetSize - offset));
    nestedFullPacker<Element>(block, nestedRecord<Element>(record + S::offset) + i);
  }
}

template <class List, std::size_t I>
CODEC_INLINE void packFullSlot(u8* table, const u8* record) {
  using S = typename List::template At<I>;
  u8* const field = table + Layout<List>::fullOffsets[I];
  if constexpr (S::kind == Kind::scalar) {
    constexpr std::size_t run = runLengths(List{})[I];
    if constexpr (run > 0) {
      packFullRun<List, I>(field, record + S::offset, std::make_index_sequence<run>{});
    }
  } else if constexpr (S::kind == Kind::vector) {
    packFullVector<S>(field, record);
  } else if constexpr (S::kind == Kind::table) {
    using Element = typename S::Element;
    nestedFullPacker<Element>(field, nestedRecord<Element>(record + S::offset));
  } else {
    packFullTables<S>(field, record);
  }
}

template <class List, std::size_t... I>
CODEC_INLINE void packFullTable(u8* out, const u8* record, std::index_sequence<I...>) {
  using L = Layout<List>;
  u8* const table = out + rootOffsetSize;
  store(out, u32{rootOffsetSize});
  store(table, static_cast<u32>(-L::vtableOffset));
  (packFullSlot<List, I>(table, record), ...);
  __builtin_memcpy(table + L::vtableOffset, L::fullVtable.data(), L::vtableSize);
}

template <class List>
CODEC_INLINE u32 packBlock(u8* out, const void* rec) {
  static_assert(!List::hasBuffer, "a message with a buffer has no full encoding");
  packFullTable<List>(out, static_cast<const u8*>(rec), std::make_index_sequence<List::size>{});
  return 0;
}

/// The full encoder of the messages with this slot list.
template <class List>
u32 packFull(u8* out, const void* req) {
  return packBlock<List>(out, req);
}

}  // namespace codec

#endif
