#include "inspect/annotate.h"

#include <algorithm>

namespace inspect {
namespace {

using page::addHex;
using page::elements;
using page::meaning;
using reader::at;

constexpr std::size_t bytesInLine = 8;

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

void annotate(const Message& message, const Write& write) {
  for (const Item* item : byPosition(message.items)) {
    for (std::size_t from = 0; from < item->length; from += bytesInLine) {
      write(line(message, *item, from, std::min(bytesInLine, item->length - from)));
    }
  }
}

}  // namespace inspect
