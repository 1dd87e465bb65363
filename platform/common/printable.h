#ifndef PLATFORM_PRINTABLE_H
#define PLATFORM_PRINTABLE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

/// Text from elsewhere, fit for one line of a terminal: of UTF-8, what controls a terminal, a line
/// or the direction of writing becomes an escape, as \n, \x1B or \u{202E}; so does a byte that is
/// no UTF-8. Text that has been through it stays as it is.
std::string printable(std::string_view text);

/// A character as printable() shows it.
struct Shown {
  char bytes[12];
  std::size_t size;
};

/// Takes the first character off a text that is not empty. Needs no memory.
Shown takeFirst(std::string_view& text) noexcept;

}  // namespace platform

#endif
