#ifndef CODEC_SLOTS_H
#define CODEC_SLOTS_H

// A slot list says, at compile time, which member of a record each vtable slot carries. How a slot
// is carried follows from the member's C type.

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

#include "codec/bytes.h"

namespace codec {

enum class Kind {
  scalar,  ///< u8, u16, u32: a word in the table
  vector,  ///< array of those: a vector
  table,   ///< nested record: a nested table
  tables,  ///< array of nested records: a vector of nested tables
  buffer,  ///< caller's pointer and length: a byte vector that may be absent
};

template <class Word>
constexpr bool isWord =
    std::is_same_v<Word, u8> || std::is_same_v<Word, u16> || std::is_same_v<Word, u32>;

constexpr std::size_t roundUp(std::size_t size, std::size_t multiple) {
  return (size + multiple - 1) / multiple * multiple;
}

/// The slot of a member of type Member at byte Offset of its record.
template <class Member, std::size_t Offset>
struct Slot {
  using Element = std::remove_extent_t<Member>;
  static_assert(isWord<Element> || std::is_class_v<Element>,
                "a slot carries u8, u16, u32, a nested record, or an array of one of these");

  static constexpr Kind kind = std::is_class_v<Element>
                                   ? (std::is_array_v<Member> ? Kind::tables : Kind::table)
                                   : (std::is_array_v<Member> ? Kind::vector : Kind::scalar);
  static constexpr std::size_t offset = Offset;
  static constexpr std::size_t size = sizeof(Member);
  static constexpr std::size_t count = size / sizeof(Element);
};

/// The slot of a caller's bytes: a u32 length and, next in the record, the pointer to them.
template <std::size_t LengthOffset, std::size_t PointerOffset>
struct Buffer {
  using Element = u8;
  static_assert(PointerOffset == roundUp(LengthOffset + sizeof(u32), alignof(u8*)),
                "a buffer's length stands right before its pointer");

  static constexpr Kind kind = Kind::buffer;
  static constexpr std::size_t offset = LengthOffset;
  static constexpr std::size_t pointerOffset = PointerOffset;
  static constexpr std::size_t size = PointerOffset + sizeof(u8*) - LengthOffset;
  static constexpr std::size_t count = 0;
};

template <class... Slots>
struct SlotList {
  template <std::size_t I>
  using At = std::tuple_element_t<I, std::tuple<Slots...>>;

  static constexpr std::size_t size = sizeof...(Slots);
  static constexpr bool hasBuffer = ((Slots::kind == Kind::buffer) || ...);
};

/// The slots of Record: List, and as text the record's name and the list. Specialised by SLOTS.
template <class Record>
struct SlotsOf;

template <class Record>
using ListOf = typename SlotsOf<Record>::List;

/// Initialises a number or a pointer and nothing larger, so that braces around a record flatten.
struct AnyLeaf {
  template <class Leaf>
  requires std::is_scalar_v<Leaf>
  operator Leaf() const;
};

template <class Record, std::size_t... I>
constexpr bool takesLeaves(std::index_sequence<I...>) {
  return requires {
    Record{(static_cast<void>(I), AnyLeaf{})...};
  };
}

/// Whether Record has at least n numbers and pointers, those inside arrays and structs counted.
template <class Record, std::size_t n>
constexpr bool hasLeaves = takesLeaves<Record>(std::make_index_sequence<n>{});

template <class Member, std::size_t n = 1>
constexpr std::size_t leafCount() {
  if constexpr (hasLeaves<Member, n + 1>) {
    return leafCount<Member, n + 1>();
  } else {
    return n;
  }
}

template <class S>
constexpr std::size_t slotLeaves() {
  if constexpr (S::kind == Kind::buffer) {
    return 2;
  } else if constexpr (std::is_class_v<typename S::Element>) {
    return S::count * leafCount<typename S::Element>();
  } else {
    return S::count;
  }
}

/// Whether each slot's member lies behind that of the slot before.
template <class... Slots>
constexpr bool inOrder() {
  std::size_t end = 0;
  return ((Slots::offset >= std::exchange(end, Slots::offset + Slots::size)) && ...);
}

/// The slot list of Record; one that does not list the whole record in order does not compile.
template <class Record, class... Slots>
struct CheckedSlots {
  static_assert(std::is_standard_layout_v<Record> && std::is_trivial_v<Record>,
                "a request record is a plain C struct");
  static_assert(inOrder<Slots...>(),
                "slot list repeats a member or lists members out of record order");
  static_assert(!hasLeaves<Record, (slotLeaves<Slots>() + ... + 1)>,
                "slot list omits a member of the record");
  using List = SlotList<Slots...>;
};

}  // namespace codec

/// The slots of a record, in order.
#define SLOTS(Type, ...)                                    \
  template <>                                               \
  struct codec::SlotsOf<Type> {                             \
    using T = Type;                                         \
    using List = codec::CheckedSlots<T, __VA_ARGS__>::List; \
    static constexpr const char* name = #Type;              \
    static constexpr const char* members = #__VA_ARGS__;    \
  };

/// The slot of a member of T, the record type that is being described.
#define SLOT(member) codec::Slot<decltype(T::member), offsetof(T, member)>

/// The slot of a caller's buffer in T: the members for its length and its pointer.
#define BUFFER(length, pointer) codec::Buffer<offsetof(T, length), offsetof(T, pointer)>

#endif
