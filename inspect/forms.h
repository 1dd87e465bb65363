#ifndef INSPECT_FORMS_H
#define INSPECT_FORMS_H

// A message in the forms in which people look at it.

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
  std::string name;  ///< as the person calls it, printable
  const Schema::Method* method;
  std::vector<std::uint8_t> bytes;
  std::vector<Item> items;
};

/// What a message is, on one line: name, request, encoding, bytes.
std::string title(const Message& message);

/// Writes every byte in its order, with what it means, line by line.
void annotate(const Message& message, const Write& write);

/// What an item is and what it says, on one line. The elements of vectors are not told.
std::string meaning(const Item& item);

/// The elements from first to last, last excluded, of an item that has some.
std::string elements(const Message& message, const Item& item, std::size_t first, std::size_t last);

/// Adds bytes in hexadecimal, each with a space behind it.
void addHex(std::string& text, Bytes bytes);

/// A message as a section of the page.
/// @param number tells the messages of one page apart
std::string section(const Message& message, std::size_t number);

/// What the page has before its sections.
std::string pageStart();
/// What it has behind them.
std::string pageEnd();

}  // namespace inspect

#endif
