#ifndef SHARED_REPORT_H
#define SHARED_REPORT_H

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace shared {

/// A line for stderr. It allocates nothing, so that allocation failures can be reported, too: what
/// does not fit is cut off and replaced by "...".
class Line {
 public:
  [[gnu::format(printf, 2, 3)]] void add(const char* format, ...) noexcept;
  void addList(const char* format, std::va_list arguments) noexcept;
  /// Writes the text, made printable, and a line end to stderr, in one write so that threads do not
  /// interleave.
  void write() const noexcept;

 private:
  static constexpr std::size_t longest = 8'192;  // a path and a message

  char text_[longest];
  std::size_t size_ = 0;
};

/// Redirects lines from stderr to this function, printable and without their end. Any thread may
/// call it, then or later.
void writeLinesWith(void (*sink)(std::string_view line) noexcept) noexcept;

/// Occupies those of the descriptors 0 to 2 that are closed, so that no file opened later gets
/// lines meant for them. Writing to them fails.
void holdStandardDescriptors() noexcept;

/// The name in front of each report: every library and program that uses this code defines its own.
extern const char* const reporter;

/// Reports a failure in one line on stderr.
[[gnu::format(printf, 1, 2)]] void report(const char* format, ...) noexcept;
/// The same, unless whoever reads stderr has stopped reading or is gone: nothing waits for that,
/// and no SIGPIPE ends a process that had not written to stderr itself. For any thread's stack: a
/// line of more than 1,023 bytes is cut off.
[[gnu::format(printf, 1, 2)]] void reportAtOnce(const char* format, ...) noexcept;

}  // namespace shared

#endif
