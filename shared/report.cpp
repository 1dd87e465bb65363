#include "shared/report.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <string_view>

#include "shared/printable.h"

namespace shared {
namespace {

std::atomic<void (*)(std::string_view) noexcept> lineSink = nullptr;

void reportList(const char* format, std::va_list arguments) noexcept {
  Line line;
  line.add("%s: ", reporter);
  line.addList(format, arguments);
  line.write();
}

}  // namespace

void Line::add(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  addList(format, arguments);
  va_end(arguments);
}

void Line::addList(const char* format, std::va_list arguments) noexcept {
  const std::size_t room = longest - size_;
  const int length = std::vsnprintf(text_ + size_, room, format, arguments);
  if (length < 0) return add("%s", format);  // its arguments cannot be formatted
  size_ += std::min(static_cast<std::size_t>(length), room - 1);
}

void Line::write() const noexcept {
  char line[longest];
  const std::size_t size = showIn({line, longest - 1}, {text_, size_});
  if (const auto sink = lineSink.load()) return sink({line, size});
  line[size] = '\n';
  // If stderr is closed or full, there is nowhere left to report to.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line, size + 1);
}

void writeLinesWith(void (*sink)(std::string_view) noexcept) noexcept {
  lineSink = sink;
}

void holdStandardDescriptors() noexcept {
  int file = 0;
  do file = ::open("/dev/null", O_RDONLY);  // the lowest that is free
  while (file >= 0 && file <= STDERR_FILENO);
  if (file >= 0) ::close(file);
}

void report(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  reportList(format, arguments);
  va_end(arguments);
}

void reportAtOnce(const char* format, ...) noexcept {
  pollfd standardError = {STDERR_FILENO, POLLOUT, 0};
  if (::poll(&standardError, 1, 0) != 1 || standardError.revents != POLLOUT) return;
  std::va_list arguments;
  va_start(arguments, format);
  reportList(format, arguments);
  va_end(arguments);
}

}  // namespace shared
