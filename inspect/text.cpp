#include <algorithm>
#include <iterator>

#include "inspect/forms.h"

namespace inspect {
namespace {

using reader::at;
using reader::Kind;

constexpr std::size_t bytesInLine = 8;

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

/// The elements on one line; bytes, which the line shows already, are not listed again.
std::string partMeaning(const Message& message, const Item& item, std::size_t first,
                        std::size_t last) {
  std::string text = item.path + '[' + std::to_string(first) + ']';
  if (last - first > 1) text += " to [" + std::to_string(last - 1) + ']';
  return text + ": " + (item.width == 1 ? item.value : elements(message, item, first, last));
}

std::string line(const Message& message, const Item& item, std::size_t from, std::size_t size) {
  std::string text = "  " + at(item.position + from);
  text.resize(std::max<std::size_t>(text.size(), 8), ' ');
  addHex(text, Bytes(message.bytes).subspan(item.position + from, size));
  text.resize(std::max<std::size_t>(text.size(), 8 + 3 * bytesInLine), ' ');
  text += ' ';
  const bool inParts = item.width != 0;
  text += inParts ? partMeaning(message, item, from / item.width, (from + size) / item.width)
                  : meaning(item);
  return text + '\n';
}

}  // namespace

std::string damage(const Message& message, const reader::Fault& fault) {
  return "damaged, or not a " + message.method->request->name + ": " + at(fault.position) + ": " +
         fault.words;
}

std::string title(const Message& message) {
  return message.name + ": " + message.method->request->name + ", " +
         (reader::isFull(message.bytes) ? "full" : "compact") + ", " +
         std::to_string(message.bytes.size()) + " bytes";
}

void annotate(const Message& message, const Write& write) {
  for (const Item* item : byPosition(message.items)) {
    for (std::size_t from = 0; from < item->length; from += bytesInLine) {
      write(line(message, *item, from, std::min(bytesInLine, item->length - from)));
    }
  }
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

}  // namespace inspect
