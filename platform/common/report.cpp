#include "platform/common/report.h"

#include <unistd.h>

#include <cstdio>

#include "platform/common/printable.h"

namespace platform {

std::string formatted(const char* format, va_list arguments) {
  va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length < 0) return format;
  std::string text(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

void writeLine(const std::string& text) {
  const std::string line = printable(text) + '\n';
  // Where stderr is closed or full there is nobody left to tell.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

void report(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  writeLine(std::string(reporter) + ": " + text);
}

}  // namespace platform
