#include "shared/report.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <span>
#include <string_view>

#include "shared/printable.h"

namespace shared {
namespace {

std::atomic<void (*)(std::string_view) noexcept> lineSink = nullptr;

/// Makes the text printable in that room.
void writeIn(std::span<char> room, std::string_view text) noexcept {
  const std::size_t size = showIn(room.first(room.size() - 1), text);
  if (const auto sink = lineSink.load()) return sink({room.data(), size});
  room[size] = '\n';
  // If stderr is closed or full, there is nowhere left to report to.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, room.data(), size + 1);
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
  writeIn(line, {text_, size_});
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
  Line line;
  line.add("%s: ", reporter);
  std::va_list arguments;
  va_start(arguments, format);
  line.addList(format, arguments);
  va_end(arguments);
  line.write();
}

void reportAtOnce(const char* format, ...) noexcept {
  pollfd standardError = {STDERR_FILENO, POLLOUT, 0};
  if (::poll(&standardError, 1, 0) != 1 || standardError.revents != POLLOUT) return;
  char text[1024], line[1024];
  const auto head = static_cast<std::size_t>(std::snprintf(text, sizeof text, "%s: ", reporter));
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text + head, sizeof text - head, format, arguments);
  va_end(arguments);
  writeIn(line, text);
}

}  // namespace shared
