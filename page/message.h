#ifndef PAGE_MESSAGE_H
#define PAGE_MESSAGE_H

// A message with the meaning of its bytes, in words.

#include <string>
#include <vector>

#include "reader/walk.h"

namespace page {

using reader::Bytes;
using reader::Item;

/// A message that was walked.
struct Message {
  std::string name;  ///< as the user named it, printable
  const reader::Schema::Method* method;
  std::vector<std::uint8_t> bytes;
  std::vector<Item> items;
};

/// Why a message is refused, on one line.
std::string damage(const Message& message, const reader::Fault& fault);

/// The heading of a message without a fault, on one line: name, request, encoding, bytes.
std::string title(const Message& message);

/// An item's kind and value, on one line, without the elements of vectors.
std::string meaning(const Item& item);

/// The elements from first to last, last excluded, of an item that has some.
std::string elements(const Message& message, const Item& item, std::size_t first, std::size_t last);

/// Adds bytes in hexadecimal, each with a space behind it.
void addHex(std::string& text, Bytes bytes);

}  // namespace page

#endif
