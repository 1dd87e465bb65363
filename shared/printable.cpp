#include "shared/printable.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <iterator>

namespace shared {
namespace {

struct Range {
  std::uint32_t first, last;
};

/// Characters that a terminal does not show as themselves: controls, direction marks, line ends,
/// formats.
constexpr Range controls[] = {{0, 0x1F},        {0x7F, 0x9F},     {0xAD, 0xAD},
                              {0x61C, 0x61C},   {0x180E, 0x180E}, {0x200B, 0x200F},
                              {0x2028, 0x202E}, {0x2060, 0x206F}, {0xD800, 0xDFFF},
                              {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};

bool isControl(std::uint32_t character) {
  return std::any_of(std::begin(controls), std::end(controls), [&](const Range& range) {
    return character >= range.first && character <= range.last;
  });
}

/// A character as printable() returns it.
struct Shown {
  char bytes[12];
  std::size_t size;
};

/// A character and its bytes; without a size, the text does not begin with UTF-8.
struct Character {
  std::uint32_t code;
  std::size_t size;
};

Character firstOf(std::string_view text) {
  constexpr std::uint32_t leastOfSize[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return {lead, 1};
  const auto size = static_cast<std::size_t>(std::countl_one(lead));
  if (size < 2 || size > 4 || size > text.size()) return {lead, 0};
  std::uint32_t code = lead & (0x7Fu >> size);
  for (const char next : text.substr(1, size - 1)) {
    if ((next & 0xC0) != 0x80) return {lead, 0};
    code = code << 6 | (static_cast<unsigned char>(next) & 0x3Fu);
  }
  const bool isShortest = code >= leastOfSize[size] && code <= 0x10FFFF;
  return isShortest ? Character{code, size} : Character{lead, 0};
}

Shown escapeOf(const Character& character) {
  if (character.code == '\n') return {"\\n", 2};
  if (character.code == '\t') return {"\\t", 2};
  const bool isByte = character.size < 2;
  Shown escape{};
  const int size = std::snprintf(escape.bytes, sizeof escape.bytes, isByte ? "\\x%02X" : "\\u{%X}",
                                 unsigned{character.code});
  escape.size = static_cast<std::size_t>(size);
  return escape;
}

/// Takes the first character off a text that is not empty.
Shown takeFirst(std::string_view& text) {
  const Character character = firstOf(text);
  Shown shown{};
  if (character.size == 0 || isControl(character.code)) {
    shown = escapeOf(character);
  } else {
    shown.size = text.copy(shown.bytes, character.size);
  }
  text.remove_prefix(std::max<std::size_t>(character.size, 1));
  return shown;
}

}  // namespace

std::size_t showIn(std::span<char> room, std::string_view text) noexcept {
  constexpr std::string_view cut = "...";
  std::size_t size = 0;
  const auto add = [&](std::string_view bytes) {
    size += bytes.copy(room.data() + size, room.size() - size);
  };
  while (!text.empty()) {
    const Shown shown = takeFirst(text);
    if (size + shown.size + (text.empty() ? 0 : cut.size()) > room.size()) {
      add(cut);
      break;
    }
    add({shown.bytes, shown.size});
  }
  return size;
}

}  // namespace shared
