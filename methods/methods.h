#ifndef METHODS_METHODS_H
#define METHODS_METHODS_H

// The table of methods as data that a program can walk: which there are, and where the members of
// their requests lie. It needs nothing of the library at run time.

#include <span>
#include <string_view>

#include "codec/slots.h"

namespace methods {

using codec::Kind;

struct Table;

/// A member of a record, carried by the vtable slot of its place.
struct Slot {
  std::string_view name;  ///< the member's; of a buffer, its pointer's
  Kind kind;
  u32 width;           ///< bytes of an element: a word or a nested record
  u32 count;           ///< elements, 0 for a buffer
  u32 offset;          ///< of the member in the record; of a buffer, its length
  u32 size;            ///< of the member in the record
  const Table* table;  ///< the nested record's, else nullptr
};

/// A record, which goes out as a table.
struct Table {
  const char* name;  ///< the record's type
  u32 recordSize;
  std::span<const Slot> slots;
};

struct Method {
  const char* name;
  const Table* request;
};

/// Every method, in the order of the roll call. Methods of one request type have the same table.
extern const std::span<const Method> all;

/// The method of that name, nullptr where there is none.
const Method* find(std::string_view name);

}  // namespace methods

#endif
