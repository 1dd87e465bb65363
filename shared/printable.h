#ifndef SHARED_PRINTABLE_H
#define SHARED_PRINTABLE_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace shared {

/// Text from elsewhere, fit for one line of a terminal: of UTF-8, what controls a terminal, a line
/// or the direction of writing becomes an escape, as \n, \x1B or \u{202E}; so does a byte that is
/// no UTF-8. Text that has been through it stays as it is.
std::string printable(std::string_view text);

/// The same into room that is given, which needs no memory; what does not fit is cut off and shown
/// as
/// "...". Returns the bytes written.
std::size_t showIn(std::span<char> room, std::string_view text) noexcept;

}  // namespace shared

#endif
