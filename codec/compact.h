#ifndef CODEC_COMPACT_H
#define CODEC_COMPACT_H

// The compact encoding: vtable first, zero scalars left out, no alignment. A table is written in
// one pass over its slots for the scalars and one for everything that an offset field refers to;
// nested tables follow behind it.

#include <cstddef>
#include <type_traits>
#include <utility>

#include "codec/layout.h"
#include "tarn/bounded_memory.h"

/// The position that an outer compact encoder hands to a nested one.
typedef struct PackPos {
  u8* base;  ///< start of the outer encoding
  u8* cur;   ///< where the nested table goes; moved past it
} PackPos;

namespace codec {

/// Where the next offset field and the next vector body of a table go.
struct Place {
  u8* field;
  u8* body;
};

CODEC_INLINE void storeDistance(u8* field, const u8* target) {
  store(field, static_cast<u32>(target - field));
}

/// Writes the nested table of rec, a Record, at pos->cur, moves pos->cur behind it and returns the
/// table start relative to pos->base. The output must have room.
template <class Record>
CODEC_INLINE u32 packNested(PackPos* pos, const void* rec);

/// What enclosing encoders call for Record's nested table. The shared tables specialise this.
template <class Record>
inline constexpr auto nestedPacker = packNested<Record>;

template <class S>
CODEC_INLINE const u8* bufferBytes(const u8* record) {
  return load<const u8*>(record + S::pointerOffset);
}

template <class S>
CODEC_INLINE u32 bufferLength(const u8* record) {
  return load<u32>(record + S::offset);
}

/// Whether a slot other than a scalar is in the table.
template <class S>
CODEC_INLINE bool isPresent(const u8* record) {
  if constexpr (S::kind == Kind::buffer) {
    return bufferBytes<S>(record) != nullptr && bufferLength<S>(record) != 0;
  } else {
    return S::kind != Kind::scalar;
  }
}

/// Moves next past the slot's offset field and body.
template <class S>
CODEC_INLINE void skip(Place& next, const u8* record) {
  next.field += offsetFieldSize;
  next.body += bodySize<S>();
  if constexpr (S::kind == Kind::buffer) next.body += countSize + bufferLength<S>(record);
}

/// Writes a scalar at offset next of the table and moves next behind it, or does neither for a
/// zero. Both cost the same: which scalars are zero cannot be predicted, so there is no branch. A
/// zero's offset is masked to 0, which in its slot says absent; its word lands on the table's first
/// word, which is written last. Masked, since compilers make a branch of a choice between two
/// values.
template <class S>
CODEC_INLINE void packScalar(u8* slot, u8* table, std::size_t& next, const u8* record) {
  if constexpr (S::kind == Kind::scalar) {
    const auto word = load<typename S::Element>(record + S::offset);
    const std::size_t mask = word != 0 ? SIZE_MAX : 0;
    const std::size_t offset = next & mask;
    store(table + offset, word);
    store(slot, static_cast<u16>(offset));
    next += S::size & mask;
  }
}

template <class S>
CODEC_INLINE void packBody(u8* body, const u8* record) {
  if constexpr (S::kind == Kind::buffer) {
    const u32 length = bufferLength<S>(record);
    store(body, length);
    memcpy_s(body + countSize, length, bufferBytes<S>(record), length);
  } else {
    store(body, static_cast<u32>(S::count));
    if constexpr (S::kind == Kind::vector) {
      storeArray<typename S::Element>(body + countSize, record + S::offset, S::count);
    }
  }
}

template <class S>
CODEC_INLINE void packReference(u8* slot, const u8* table, Place& next, const u8* record) {
  if (!isPresent<S>(record)) return;
  store(slot, static_cast<u16>(next.field - table));
  if constexpr (S::kind != Kind::table) {
    storeDistance(next.field, next.body);
    packBody<S>(next.body, record);
  }
  skip<S>(next, record);
}

template <class S>
CODEC_INLINE void packTables(PackPos* pos, Place& next, const u8* record) {
  if (!isPresent<S>(record)) return;
  if constexpr (S::kind == Kind::table || S::kind == Kind::tables) {
    using Element = typename S::Element;
    u8* field = S::kind == Kind::table ? next.field : next.body + countSize;
    for (std::size_t i = 0; i < S::count; ++i, field += offsetFieldSize) {
      const Element* const element = nestedRecord<Element>(record + S::offset) + i;
      storeDistance(field, pos->base + nestedPacker<Element>(pos, element));
    }
  }
  skip<S>(next, record);
}

/// A buffer may outgrow the table size, which then saturates; the field offsets still lie inside
/// it.
template <class List>
CODEC_INLINE u16 tableSizeEntry(std::size_t size) {
  if (List::hasBuffer && size > maxTableSize) return maxTableSize;
  return static_cast<u16>(size);
}

/// Writes a table, its vtable at pos->cur, and returns the table start. Moves pos->cur behind the
/// table and its nested tables.
template <class... Slots, std::size_t... I>
CODEC_INLINE u8* packTable(SlotList<Slots...>, std::index_sequence<I...>, PackPos* pos,
                           const u8* record) {
  using List = SlotList<Slots...>;
  constexpr std::size_t vtableSize = Layout<List>::vtableSize;
  u8* const vtable = pos->cur;
  u8* const slots = vtable + vtableHeaderSize;
  u8* const table = vtable + vtableSize;
  memset_s(slots, 2 * List::size, 0, 2 * List::size);

  std::size_t end = tableHeaderSize;
  (packScalar<Slots>(slots + 2 * I, table, end, record), ...);

  const std::size_t fields = (std::size_t{isPresent<Slots>(record)} + ... + 0);
  const Place first{table + end, table + end + fields * offsetFieldSize};
  Place next = first;
  (packReference<Slots>(slots + 2 * I, table, next, record), ...);

  store(vtable, static_cast<u16>(vtableSize));
  store(vtable + 2, tableSizeEntry<List>(static_cast<std::size_t>(next.body - table)));
  store(table, static_cast<u32>(vtableSize));

  pos->cur = next.body;
  next = first;
  (packTables<Slots>(pos, next, record), ...);
  return table;
}

template <class List>
CODEC_INLINE u8* packTable(PackPos* pos, const u8* record) {
  return packTable(List{}, std::make_index_sequence<List::size>{}, pos, record);
}

template <class Record>
CODEC_INLINE u32 packNested(PackPos* pos, const void* rec) {
  return static_cast<u32>(packTable<ListOf<Record>>(pos, static_cast<const u8*>(rec)) - pos->base);
}

/// Writes the compact encoding of a message at out and returns its length.
template <class List>
u32 packMessage(u8* out, const u8* record) {
  PackPos pos{out, out + rootOffsetSize};
  storeDistance(out, packTable<List>(&pos, record));
  return static_cast<u32>(pos.cur - out);
}

/// Bytes that values add to the slot's compactBase.
template <class Size, class S>
CODEC_INLINE Size growth(const u8* record);

template <class Size, class... Slots>
CODEC_INLINE Size tableGrowth(SlotList<Slots...>, const u8* record) {
  return (growth<Size, Slots>(record) + ... + Size{0});
}

template <class Size, class S>
CODEC_INLINE Size growth(const u8* record) {
  if constexpr (S::kind == Kind::scalar) {
    return load<typename S::Element>(record + S::offset) != 0 ? S::size : 0;
  } else if constexpr (S::kind == Kind::table || S::kind == Kind::tables) {
    Size sum = 0;
    for (std::size_t i = 0; i < S::count; ++i) {
      sum += tableGrowth<Size>(ListOf<typename S::Element>{},
                               record + S::offset + i * sizeof(typename S::Element));
    }
    return sum;
  } else if constexpr (S::kind == Kind::buffer) {
    return bufferBytes<S>(record) == nullptr
               ? 0
               : Size{offsetFieldSize + countSize} + bufferLength<S>(record);
  } else {
    return 0;
  }
}

/// The length of the compact encoding of a message, 0 when it does not fit in 32 bits. An empty
/// buffer counts with its offset field and count, which are then not written.
template <class List>
u32 compactSize(const u8* record) {
  using Size = std::conditional_t<List::hasBuffer, u64, u32>;
  const Size size =
      Size{rootOffsetSize + Layout<List>::compactBase} + tableGrowth<Size>(List{}, record);
  return size > UINT32_MAX ? 0 : static_cast<u32>(size);
}

}  // namespace codec

#endif
