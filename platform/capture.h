#ifndef PLATFORM_CAPTURE_H
#define PLATFORM_CAPTURE_H

#include <filesystem>
#include <mutex>
#include <optional>

#include "platform/stand_in.h"

namespace platform {

/// Keeps messages as files in a directory.
class Capture {
 public:
  /// Sets the directory, NULL for none, and reports when it cannot be written.
  TarnStatus setDir(const char* path);
  /// Writes the message's files, where a directory is set, and reports when that fails.
  TarnStatus write(const TarnMessage& message);

 private:
  // These return an error number, 0 for none.
  int findNext();
  int writeFiles(const TarnMessage& message);
  TarnStatus outcome(int error) const;

  std::mutex mutex_;  // held while writing: the messages' numbers are in the order of their files
  std::optional<std::filesystem::path> dir_;
  std::optional<u64> next_;  // none until the directory has been read
};

}  // namespace platform

#endif
