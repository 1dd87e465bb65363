#include "page/message.h"

#include <iterator>

namespace page {
namespace {

using reader::Kind;

/// In the order of Kind; a field's value is labelled with the field's name alone.
constexpr const char* kindNames[] = {"",
                                     "vtable",
                                     "",
                                     "root offset",
                                     "vtable size",
                                     "table size",
                                     "field offset",
                                     "table-to-vtable offset",
                                     "",
                                     "offset field",
                                     "count",
                                     "",
                                     "offset",
                                     "block",
                                     "gap"};
static_assert(std::size(kindNames) == static_cast<std::size_t>(Kind::gap) + 1);

}  // namespace

std::string damage(const Message& message, const reader::Fault& fault) {
  return "damaged, or not a " + message.method->request->name + ": " + reader::at(fault.position) +
         ": " + fault.words;
}

std::string title(const Message& message) {
  return message.name + ": " + message.method->request->name + ", " +
         (reader::isFull(message.bytes) ? "full" : "compact") + ", " +
         std::to_string(message.bytes.size()) + " bytes";
}

std::string meaning(const Item& item) {
  const std::string name = kindNames[static_cast<std::size_t>(item.kind)];
  std::string text =
      name.empty() || item.path.empty() ? name + item.path : name + " of " + item.path;
  if (!text.empty() && !item.value.empty()) text += ": ";
  return text + item.value;
}

std::string elements(const Message& message, const Item& item, std::size_t first,
                     std::size_t last) {
  std::string text;
  for (std::size_t i = first; i < last; ++i) {
    if (i > first) text += ", ";
    text +=
        std::to_string(reader::number(&message.bytes[item.position + i * item.width], item.width));
  }
  return text;
}

void addHex(std::string& text, Bytes bytes) {
  const char digits[] = "0123456789ABCDEF";
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
    text += ' ';
  }
}

}  // namespace page
