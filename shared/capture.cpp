#include "shared/capture.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <new>
#include <system_error>
#include <utility>

#include "shared/report.h"
#include "shared/temporary_file.h"

// Not with std::filesystem, which ends the process on allocation failure.
namespace shared {
namespace {

/// The number that a capture file's name begins with, 0 for any other file.
u32 numberIn(std::string_view name) {
  u32 number = 0;
  const char* const end = name.data() + name.size();
  const auto [rest, error] = std::from_chars(name.data(), end, number);
  return error == std::errc{} && rest != end && *rest == '-' ? number : 0;
}

std::string fileName(const std::string& dir, u64 number, const char* method, const char* encoding) {
  std::string digits = std::to_string(number);
  digits.insert(0, 4 - std::min<std::size_t>(4, digits.size()), '0');
  return dir + '/' + digits + '-' + method + '.' + encoding + ".bin";
}

/// Names both files or none.
int publish(const TemporaryFile& compact, const TemporaryFile& full, const std::string& dir,
            u64 number, const char* method) {
  const std::string compactPath = fileName(dir, number, method, "compact");
  const std::string fullPath = fileName(dir, number, method, "full");
  const int error = compact.linkTo(compactPath);
  if (error != 0) return error;
  const int fullError = full.linkTo(fullPath);
  if (fullError != 0 && compact.exists()) ::unlink(compactPath.c_str());
  return fullError;
}

TarnStatus outcome(const char* path, int error) {
  if (error == 0) return TARN_STATUS_OK;
  char reason[128];
  report("capture directory %s: %s", path, ::strerror_r(error, reason, sizeof reason));
  return error == ENOMEM ? TARN_STATUS_NO_RESOURCES : TARN_STATUS_CAPTURE;
}

}  // namespace

TarnStatus Capture::setDir(const char* path) noexcept try {
  const std::lock_guard lock(mutex_);
  if (path == nullptr) {
    dir_.reset();
    return TARN_STATUS_OK;
  }
  Directory dir{absolute(path), {}};
  int error = findNext(dir);
  if (error == 0) error = TemporaryFile(dir.path).create({});
  const TarnStatus status = outcome(dir.path.c_str(), error);
  if (error != ENOMEM) dir_ = std::move(dir);
  return status;
} catch (const std::bad_alloc&) {
  return outcome(path, ENOMEM);
}

TarnStatus Capture::write(const char* method, Bytes compact, Bytes full) noexcept {
  const std::lock_guard lock(mutex_);
  return dir_ ? outcome(dir_->path.c_str(), attempt(method, compact, full)) : TARN_STATUS_OK;
}

int Capture::tryWrite(const char* method, Bytes compact, Bytes full) noexcept {
  const std::lock_guard lock(mutex_);
  return dir_ ? attempt(method, compact, full) : 0;
}

int Capture::attempt(const char* method, Bytes compact, Bytes full) noexcept try {
  return writeFiles(*dir_, method, compact, full);
} catch (const std::bad_alloc&) {
  return ENOMEM;
}

int Capture::findNext(Directory& dir) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(dir.path.c_str()), ::closedir);
  if (!entries) return errno;
  u64 highest = 0;
  errno = 0;
  while (const dirent* const entry = ::readdir(entries.get())) {
    highest = std::max<u64>(highest, numberIn(entry->d_name));
  }
  if (errno == 0) dir.next = highest + 1;
  return errno;
}

int Capture::writeFiles(Directory& dir, const char* method, Bytes compact, Bytes full) {
  if (!dir.next) {
    if (const int error = findNext(dir)) return error;
  }
  TemporaryFile compactFile(dir.path);
  TemporaryFile fullFile(dir.path);
  int error = compact.empty() ? 0 : compactFile.create(compact);
  if (error == 0 && !full.empty()) error = fullFile.create(full);
  if (error != 0) return error;
  do {  // another process may have taken the number
    error = publish(compactFile, fullFile, dir.path, (*dir.next)++, method);
  } while (error == EEXIST);
  return error;
}

}  // namespace shared
