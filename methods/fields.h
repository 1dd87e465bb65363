#ifndef METHODS_FIELDS_H
#define METHODS_FIELDS_H

// From a field's name to its place in a record.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "methods/methods.h"

namespace methods {

/// A field of a record, or an element of one.
struct Field {
  Kind kind;
  u32 width;           ///< bytes of an element: a word or a nested record
  u32 count;           ///< elements, 0 for a buffer
  u32 offset;          ///< from the start of the outermost record; of a buffer, its length
  u32 size;            ///< of the member in the record
  const Table* table;  ///< the nested record's, else nullptr
};

/// The field of a slot in the record that begins at offset base.
Field fieldOf(const Slot& slot, u32 base);

/// An element of an array; index is less than the array's count.
Field elementOf(const Field& array, u32 index);

/// "[INDEX]", as paths have it.
std::string brackets(std::size_t index);

/// A fault that may begin with the index of its place, as it stands behind a path: "[2]: WORDS" as
/// it is, ": WORDS" where it had none. No fault stays none.
std::string placed(const std::string& fault);

/// The slot of that name, nullptr where there is none.
const Slot* findSlot(const Table& table, std::string_view name);

/// A part of a path: a slot, or one of its elements.
struct Step {
  const Table* in;
  const Slot* slot;
  std::optional<u32> index;  ///< less than the array's count; of a buffer, any

  bool isTable() const {
    return slot->kind == Kind::table || (slot->kind == Kind::tables && index);
  }
};

/// Takes a path such as "f3", "head.f0" or "f9[2].f0" apart. It may end in an element of a buffer.
/// @return what is wrong, with the place in the path, or nothing
std::string findSteps(const Table& table, std::string_view path, std::vector<Step>& steps);

/// Finds the field of a path such as "f3", "head.f0" or "f9[2].f0".
/// @return what is wrong, with the place in the path, or nothing
std::string findField(const Table& table, std::string_view path, Field& field);

/// The largest number of width bytes, at most 4.
constexpr u64 largestOf(u32 width) {
  return (u64{1} << (8 * width)) - 1;
}
/// "VALUE: not a whole number from 0 to LARGEST"
std::string notInRange(std::string_view value, u64 largest);

/// The candidate that takes the fewest changed, added and removed characters to become the name.
/// There is at least one.
std::string_view nearest(std::string_view name, const std::vector<std::string_view>& candidates);

/// A name as a report shows it: cut where it is very long, without zero bytes, which would end it.
std::string shown(std::string_view name);

// Each of what the name does not name.

/// "no such WHAT; the nearest is CANDIDATE"
std::string noSuch(const char* what, std::string_view name,
                   const std::vector<std::string_view>& candidates);
/// "no such field; the nearest is FIELD"
std::string noSuchField(const Table& table, std::string_view name);
/// "no such method; the nearest is METHOD"
std::string noSuchMethod(std::string_view name);

}  // namespace methods

#endif
