#ifndef CODEC_TABLE_INFO_H
#define CODEC_TABLE_INFO_H

// A slot list as data that a program can walk: for tests, which compare it with the schema and read
// messages back by it, benchmarks and the catalogue. The shared object carries none of it.

#include <array>

#include "codec/layout.h"

namespace codec {

struct TableInfo;

struct SlotInfo {
  Kind kind;
  u32 width;               ///< bytes of a word: of the scalar or of one vector element
  u32 count;               ///< elements of a vector or a vector of tables
  u32 offset;              ///< of the member in the record; of a buffer, its length
  u32 size;                ///< of the member in the record
  const TableInfo* table;  ///< the nested table's, else nullptr
};

struct TableInfo {
  const char* name;     ///< the record type's
  const char* members;  ///< the slot list as written: the members' names in parentheses
  u32 recordSize;
  u32 slotCount;
  const SlotInfo* slots;
};

template <class Record>
struct Described {
  template <class S>
  static constexpr SlotInfo slotInfo() {
    using Element = typename S::Element;
    SlotInfo info{S::kind, sizeof(Element), S::count, S::offset, S::size, nullptr};
    if constexpr (std::is_class_v<Element>) info.table = &Described<Element>::info;
    return info;
  }

  template <class... Slots>
  static constexpr std::array<SlotInfo, sizeof...(Slots)> slotInfos(SlotList<Slots...>) {
    return {slotInfo<Slots>()...};
  }

  static constexpr auto slots = slotInfos(ListOf<Record>{});
  static constexpr TableInfo info = {SlotsOf<Record>::name, SlotsOf<Record>::members,
                                     sizeof(Record), slots.size(), slots.data()};
};

}  // namespace codec

#endif
