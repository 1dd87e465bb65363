#ifndef TESTS_RECORDING_WRITES_H
#define TESTS_RECORDING_WRITES_H

// The writes to recordings go to the test, which replaces the C library's syscall. For one source
// of a program.

#include <dlfcn.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cstdarg>
#include <vector>

#include "mqc_fes_intf.h"

/// What such a write does: the test's own.
ssize_t writeToRecording(int file, const std::vector<u8>& bytes);

/// The C library's syscall.
inline auto* systemCall() {
  static auto* const found = reinterpret_cast<long (*)(long, ...)>(::dlsym(RTLD_NEXT, "syscall"));
  return found;
}

/// The numbers behind the call's own; some of them are none of its arguments.
[[gnu::no_sanitize_address]] inline std::array<long, 6> argumentsOf(va_list list) {
  std::array<long, 6> arguments;
  for (long& argument : arguments) argument = va_arg(list, long);
  return arguments;
}

extern "C" long syscall(long number, ...) noexcept {
  va_list list;
  va_start(list, number);
  const auto [first, second, third, fourth, fifth, sixth] = argumentsOf(list);
  va_end(list);
  iovec one = {reinterpret_cast<void*>(second), static_cast<std::size_t>(third)};
  const bool isOne = number == SYS_pwrite64;
  if (!isOne && number != SYS_pwritev) {
    return systemCall()(number, first, second, third, fourth, fifth, sixth);
  }
  const iovec* const parts = isOne ? &one : reinterpret_cast<const iovec*>(second);
  std::vector<u8> bytes;
  for (long i = 0; i < (isOne ? 1 : third); ++i) {
    const u8* const from = static_cast<const u8*>(parts[i].iov_base);
    bytes.insert(bytes.end(), from, from + parts[i].iov_len);
  }
  return writeToRecording(static_cast<int>(first), bytes);
}

#endif
