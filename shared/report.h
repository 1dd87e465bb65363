#ifndef SHARED_REPORT_H
#define SHARED_REPORT_H

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace shared {

/// A line for stderr. It needs no memory, so that the end of memory can be reported, too: what does
/// not fit in is cut off and shown as "...".
class Line {
 public:
  [[gnu::format(printf, 2, 3)]] void add(const char* format, ...) noexcept;
  void addList(const char* format, std::va_list arguments) noexcept;
  /// Writes the text, made printable, and a line end to stderr, in one write so that threads do not
  /// interleave.
  void write() const noexcept;

 private:
  static constexpr std::size_t longest = 8'192;  // a path and what is said of it

  char text_[longest];
  std::size_t size_ = 0;
};

/// Has lines go to this function, printable and without their end, in place of stderr. Any thread
/// may call it, then or later.
void writeLinesWith(void (*sink)(std::string_view line) noexcept) noexcept;

/// Occupies those of the descriptors 0 to 2 that are closed, so that no file which is opened later
/// gets the lines that are meant for them. What is written to them fails.
void holdStandardDescriptors() noexcept;

/// Who reports: every library and program made with this code defines its own name.
extern const char* const reporter;

/// Tells the person at the workstation of a failure, as one line on stderr.
[[gnu::format(printf, 1, 2)]] void report(const char* format, ...) noexcept;

}  // namespace shared

#endif
