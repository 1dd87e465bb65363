#ifndef PLATFORM_CAPTURE_H
#define PLATFORM_CAPTURE_H

#include <filesystem>
#include <mutex>
#include <optional>
#include <span>

#include "mqc_fes_intf.h"
#include "platform/status.h"

namespace platform {

/// Keeps messages as files in a directory.
class Capture {
 public:
  using Bytes = std::span<const u8>;

  /// Sets the directory, NULL for none, and reports when it cannot be written.
  TarnStatus setDir(const char* path);
  /// Writes the message's files, where a directory is set, and reports when that fails. An empty
  /// encoding gets no file.
  TarnStatus write(const char* method, Bytes compact, Bytes full);

 private:
  // These return an error number, 0 for none.
  int findNext();
  int writeFiles(const char* method, Bytes compact, Bytes full);
  TarnStatus outcome(int error) const;

  std::mutex mutex_;  // held while writing: the messages' numbers are in the order of their files
  std::optional<std::filesystem::path> dir_;
  std::optional<u64> next_;  // none until the directory has been read
};

}  // namespace platform

#endif
