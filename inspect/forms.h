#ifndef INSPECT_FORMS_H
#define INSPECT_FORMS_H

// A message as annotated bytes, and as a page for a browser.

#include <string>
#include <vector>

#include "reader/walk.h"

namespace inspect {

using reader::Bytes;
using reader::Item;
using reader::Schema;
using reader::Write;

/// A message that was walked without a fault.
struct Message {
  std::string name;  ///< as the user named it, printable
  const Schema::Method* method;
  std::vector<std::uint8_t> bytes;
  std::vector<Item> items;
};

/// Why a message is refused, on one line.
std::string damage(const Message& message, const reader::Fault& fault);

/// The message's heading, on one line: name, request, encoding, bytes.
std::string title(const Message& message);

/// Writes every byte in order with its meaning, line by line.
void annotate(const Message& message, const Write& write);

/// An item's kind and value, on one line, without the elements of vectors.
std::string meaning(const Item& item);

/// The elements from first to last, last excluded, of an item that has some.
std::string elements(const Message& message, const Item& item, std::size_t first, std::size_t last);

/// Adds bytes in hexadecimal, each with a space behind it.
void addHex(std::string& text, Bytes bytes);

/// A message as a section of the page.
/// @param number distinguishes the messages of one page
std::string section(const Message& message, std::size_t number);

/// A template of page.h up to its messages.
std::string pageStart(std::string_view page);
/// The template after its messages.
std::string pageEnd(std::string_view page);

}  // namespace inspect

#endif
