#include "shared/temporary_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>

// Not with std::filesystem, which ends the process on allocation failure.
namespace shared {
namespace {

int writeAll(int file, std::span<const u8> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

TemporaryFile::~TemporaryFile() {
  if (created_) ::unlink(path_.c_str());
}

int TemporaryFile::create(std::span<const u8> bytes) {
  u32 number = 0;
  if (::getrandom(&number, sizeof number, 0) < 0) return errno;
  path_ += "/." + std::to_string(number) + ".tmp";
  const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) return errno;
  created_ = true;
  const int error = writeAll(file, bytes);
  const int closing = ::close(file) == 0 ? 0 : errno;
  return error != 0 ? error : closing;
}

int TemporaryFile::linkTo(const std::string& path) const {
  return !created_ || ::link(path_.c_str(), path.c_str()) == 0 ? 0 : errno;
}

int TemporaryFile::renameTo(const std::string& path) {
  if (std::rename(path_.c_str(), path.c_str()) != 0) return errno;
  created_ = false;
  return 0;
}

std::string absolute(const char* path) {
  char current[PATH_MAX];
  const bool isRelative = *path != '/' && *path != '\0';
  if (!isRelative || ::getcwd(current, sizeof current) == nullptr) return path;
  return std::string(current) + '/' + path;
}

}  // namespace shared
