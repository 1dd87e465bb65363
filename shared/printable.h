#ifndef SHARED_PRINTABLE_H
#define SHARED_PRINTABLE_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace shared {

/// Makes text from elsewhere fit for one line of a terminal, in a buffer and without allocation:
/// characters that control a terminal, a line or the writing direction become escapes such as \n,
/// \x1B or \u{202E}; so do bytes that are not UTF-8. Its own result is returned unchanged. What
/// does not fit is cut off and replaced by "...". Returns the bytes written.
std::size_t showIn(std::span<char> room, std::string_view text) noexcept;

/// The whole text as showIn() shows it. Inline, as some of the code may need the C library alone.
inline std::string printable(std::string_view text) {
  constexpr std::size_t longestEscape = 4;  // for a byte of the text
  std::string safe(longestEscape * text.size(), '\0');
  safe.resize(showIn(safe, text));
  return safe;
}

}  // namespace shared

#endif
