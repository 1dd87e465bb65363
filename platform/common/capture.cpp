#include "platform/common/capture.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <random>
#include <string>
#include <system_error>

#include "platform/common/report.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

/// A file under a name that no capture file has; gone at the end of its scope.
class TemporaryFile {
 public:
  explicit TemporaryFile(const fs::path& dir)
      : path_(dir / ('.' + std::to_string(std::random_device{}()) + ".tmp")) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (created_) ::unlink(path_.c_str());
  }

  int create(std::span<const u8> bytes);
  /// Gives the file, where there is one, its name, which must be new.
  int linkTo(const fs::path& path) const {
    return !created_ || ::link(path_.c_str(), path.c_str()) == 0 ? 0 : errno;
  }
  bool exists() const { return created_; }

 private:
  fs::path path_;
  bool created_ = false;
};

int writeAll(int file, std::span<const u8> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
  }
  return 0;
}

int TemporaryFile::create(std::span<const u8> bytes) {
  const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) return errno;
  created_ = true;
  const int error = writeAll(file, bytes);
  const int closing = ::close(file) == 0 ? 0 : errno;
  return error != 0 ? error : closing;
}

/// The number that a capture file's name begins with, 0 for any other file.
u32 numberIn(const std::string& name) {
  u32 number = 0;
  const char* const end = name.data() + name.size();
  const auto [rest, error] = std::from_chars(name.data(), end, number);
  return error == std::errc{} && rest != end && *rest == '-' ? number : 0;
}

fs::path fileName(u64 number, const char* method, const char* encoding) {
  std::string digits = std::to_string(number);
  digits.insert(0, 4 - std::min<std::size_t>(4, digits.size()), '0');
  return digits + '-' + method + '.' + encoding + ".bin";
}

/// Names both files or none.
int publish(const TemporaryFile& compact, const TemporaryFile& full, const fs::path& dir,
            u64 number, const char* method) {
  const fs::path compactPath = dir / fileName(number, method, "compact");
  const fs::path fullPath = dir / fileName(number, method, "full");
  const int error = compact.linkTo(compactPath);
  if (error != 0) return error;
  const int fullError = full.linkTo(fullPath);
  if (fullError != 0 && compact.exists()) ::unlink(compactPath.c_str());
  return fullError;
}

}  // namespace

TarnStatus Capture::setDir(const char* path) {
  const std::lock_guard lock(mutex_);
  next_.reset();
  dir_.reset();
  if (path == nullptr) return TARN_STATUS_OK;
  // The process may change its working directory later.
  std::error_code error;
  dir_ = fs::absolute(path, error);
  if (error) dir_ = path;
  if (const int unreadable = findNext()) return outcome(unreadable);
  return outcome(TemporaryFile(*dir_).create({}));
}

TarnStatus Capture::write(const char* method, Bytes compact, Bytes full) {
  const std::lock_guard lock(mutex_);
  if (!dir_) return TARN_STATUS_OK;
  return outcome(writeFiles(method, compact, full));
}

int Capture::findNext() {
  std::error_code error;
  u64 highest = 0;
  for (fs::directory_iterator entry(*dir_, error), end; !error && entry != end;
       entry.increment(error)) {
    highest = std::max<u64>(highest, numberIn(entry->path().filename()));
  }
  if (!error) next_ = highest + 1;
  return error.value();
}

int Capture::writeFiles(const char* method, Bytes compact, Bytes full) {
  if (!next_) {
    if (const int error = findNext()) return error;
  }
  TemporaryFile compactFile(*dir_);
  TemporaryFile fullFile(*dir_);
  int error = compact.empty() ? 0 : compactFile.create(compact);
  if (error == 0 && !full.empty()) error = fullFile.create(full);
  if (error != 0) return error;
  do {  // another process may have taken the number
    error = publish(compactFile, fullFile, *dir_, (*next_)++, method);
  } while (error == EEXIST);
  return error;
}

TarnStatus Capture::outcome(int error) const {
  if (error == 0) return TARN_STATUS_OK;
  report("capture directory %s: %s", dir_->c_str(), std::generic_category().message(error).c_str());
  return TARN_STATUS_CAPTURE;
}

}  // namespace platform
