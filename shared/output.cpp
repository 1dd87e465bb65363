#include "shared/output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

#include "shared/report.h"

namespace shared {

namespace fs = std::filesystem;

Output::Output(std::string path)
    : path_(std::move(path)), file_(path_.empty() ? stdout : nullptr) {}

Output::~Output() {
  if (file_ != nullptr && file_ != stdout) std::fclose(file_);
  if (!part_.empty()) std::remove(part_.c_str());
}

void Output::write(std::string_view text) {
  if (file_ == nullptr && error_ == 0) open();
  if (error_ == 0 && std::fwrite(text.data(), 1, text.size(), file_) < text.size()) error_ = errno;
}

bool Output::start() {
  write("");
  return isFine();
}

bool Output::flush() {
  if (file_ != nullptr && error_ == 0 && std::fflush(file_) != 0) error_ = errno;
  return error_ == 0;
}

bool Output::close() {
  if (file_ != nullptr) finish();
  return isFine();
}

/// Reports the error, if there was one.
bool Output::isFine() const {
  if (error_ == 0) return true;
  report("%s: %s", path_.empty() ? "stdout" : path_.c_str(), std::strerror(error_));
  return false;
}

void Output::open() {
  std::error_code unknown;
  const fs::path linked = fs::canonical(path_, unknown);
  if (!unknown) path_ = linked;
  const bool isOther = fs::is_other(fs::status(path_, unknown));
  if (!isOther) part_ = path_ + '.' + std::to_string(std::random_device{}()) + ".part";
  file_ = isOther ? std::fopen(path_.c_str(), "w") : std::fopen(part_.c_str(), "wx");
  if (file_ == nullptr) {
    error_ = errno;
    part_.clear();
  } else if (!isOther) {
    keepMode();
  }
}

/// The new file is not readable to anyone who could not read the one that it replaces.
void Output::keepMode() {
  struct stat found {};
  if (::stat(path_.c_str(), &found) != 0) return;
  const bool isOwned = ::fchown(::fileno(file_), found.st_uid, found.st_gid) == 0;
  const mode_t mode = found.st_mode & (isOwned ? 0777 : 0700);
  if (::fchmod(::fileno(file_), mode) != 0) error_ = errno;
}

void Output::finish() {
  if (std::fclose(file_) != 0 && error_ == 0) error_ = errno;
  file_ = nullptr;
  if (part_.empty() || error_ != 0) return;
  if (std::rename(part_.c_str(), path_.c_str()) == 0)
    part_.clear();
  else
    error_ = errno;
}

}  // namespace shared
