#ifndef TESTS_SYSTEM_OPEN_H
#define TESTS_SYSTEM_OPEN_H

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>

/// The C library's open, for a test's own open, which replaces it.
inline int systemOpen(const char* path, int flags, va_list rest) {
  const mode_t mode = va_arg(rest, mode_t);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

#endif
