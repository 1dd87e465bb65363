#ifndef READER_WALK_H
#define READER_WALK_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "reader/schema.h"

namespace reader {

/// The kinds of a message's bytes.
enum class Kind {
  table,   ///< no bytes: opens what belongs to a table
  vtable,  ///< no bytes: opens a table's vtable
  absent,  ///< no bytes: a field that was left out
  rootOffset,
  vtableSize,
  tableSize,
  fieldOffset,   ///< of a vtable
  vtableOffset,  ///< the first word of a table
  scalar,
  offsetField,
  count,
  elements,     ///< all of a vector of numbers
  tableOffset,  ///< of a vector of tables
  blockOffset,  ///< the first word of a block that a vector's table stands in
  gap,          ///< left unwritten by the full encoding
};

/// The longest message that a service accepts, in bytes.
inline constexpr std::size_t maxMessageBytes = std::size_t{65} << 20;

/// Bytes of a message that belong together.
struct Item {
  std::size_t position;
  std::size_t length;
  Kind kind;
  std::string path;   ///< the field, "f11[3].f0"; empty for the message itself
  std::string value;  ///< the value of the bytes
  unsigned depth;     ///< in the tree that the items form in their order
  unsigned width;     ///< bytes of a vector's element, else 0
};

/// What is wrong with a message, and where.
struct Fault {
  std::size_t position;  ///< inside the message or at its end
  std::string words;
};

/// Whether a walked message is in the full encoding: in the compact one, the vtable is before the
/// table.
bool isFull(Bytes message);

/**
 * Follows every offset of a message and checks it against the method's request and the rules of its
 * encoding: each byte belongs to exactly one item. Reads only what the FlatBuffers verifier has
 * found to be inside the message. Takes time and memory in proportion to the fields, not to their
 * bytes.
 *
 * @param items gets all bytes of the message, as a tree
 * @return the first fault, or nothing
 */
std::optional<Fault> walk(const Schema::Method& method, Bytes message, std::vector<Item>& items);

/// The items that have bytes, in the order of their bytes.
std::vector<const Item*> byPosition(const std::vector<Item>& items);

/// A position as it is displayed: "+2D".
std::string at(std::size_t position);

}  // namespace reader

#endif
