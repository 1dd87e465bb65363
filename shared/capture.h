#ifndef SHARED_CAPTURE_H
#define SHARED_CAPTURE_H

#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "mqc_fes_intf.h"
#include "tarn/status.h"

namespace shared {

/// Keeps messages as files in a directory.
class Capture {
 public:
  using Bytes = std::span<const u8>;

  /// Sets the directory, NULL for none, and reports when it cannot be written. An allocation
  /// failure is reported, too, and changes nothing.
  TarnStatus setDir(const char* path) noexcept;
  /// Writes the message's files, if a directory is set, and reports a failure. An empty encoding
  /// gets no file.
  TarnStatus write(const char* method, Bytes compact, Bytes full) noexcept;
  /// The same without a report; returns the error number, 0 for none.
  int tryWrite(const char* method, Bytes compact, Bytes full) noexcept;

  // No write happens in between.
  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }

 private:
  struct Directory {
    std::string path;
    std::optional<u64> next;  // none until the directory has been read
  };

  // These return an error number, 0 for none.
  static int findNext(Directory& dir);
  int attempt(const char* method, Bytes compact, Bytes full) noexcept;
  static int writeFiles(Directory& dir, const char* method, Bytes compact, Bytes full);

  std::mutex mutex_;  // held while writing: the messages' numbers are in the order of their files
  std::optional<Directory> dir_;
};

}  // namespace shared

#endif
