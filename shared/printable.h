#ifndef SHARED_PRINTABLE_H
#define SHARED_PRINTABLE_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace shared {

/// Makes text from elsewhere fit for one line of a terminal: characters that control a terminal, a
/// line or the writing direction become escapes such as \n, \x1B or \u{202E}; so do bytes that are
/// not UTF-8. Its own result is returned unchanged.
std::string printable(std::string_view text);

/// The same into a buffer, without allocation; what does not fit is cut off and replaced by "...".
/// Returns the bytes written.
std::size_t showIn(std::span<char> room, std::string_view text) noexcept;

}  // namespace shared

#endif
