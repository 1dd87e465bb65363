#ifndef METHODS_DESCRIBE_H
#define METHODS_DESCRIBE_H

// Makes a record's table from its slot list, at compile time.

#include <array>

#include "methods/methods.h"

namespace methods {

/// The name that the i-th pair of parentheses in a slot list's text ends with.
constexpr std::string_view slotName(std::string_view list, std::size_t i) {
  for (; i > 0; --i) list.remove_prefix(list.find(')') + 1);
  list = list.substr(0, list.find(')'));
  return list.substr(list.find_last_of("( ") + 1);
}

template <class Record>
struct Described {
  template <class S>
  static constexpr Slot slot(std::size_t i) {
    using Element = typename S::Element;
    const Table* nested = nullptr;
    if constexpr (std::is_class_v<Element>) nested = &Described<Element>::table;
    return {slotName(codec::SlotsOf<Record>::members, i),
            S::kind,
            sizeof(Element),
            S::count,
            S::offset,
            S::size,
            nested};
  }

  template <class... Slots>
  static constexpr auto slotsOf(codec::SlotList<Slots...>) {
    std::size_t i = 0;
    return std::array{slot<Slots>(i++)...};
  }

  static constexpr auto slots = slotsOf(codec::ListOf<Record>{});
  static constexpr Table table = {codec::SlotsOf<Record>::name, sizeof(Record), slots};
};

}  // namespace methods

#endif
