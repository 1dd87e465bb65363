#ifndef PLATFORM_PRINTABLE_H
#define PLATFORM_PRINTABLE_H

#include <string>
#include <string_view>

namespace platform {

/// Text from elsewhere, fit for one line of a terminal: of UTF-8, what controls a terminal, a line
/// or the direction of writing becomes an escape, as \n, \x1B or \u{202E}; so does a byte that is
/// no UTF-8. Text that has been through it stays as it is.
std::string printable(std::string_view text);

}  // namespace platform

#endif
