#ifndef SHARED_TEMPORARY_FILE_H
#define SHARED_TEMPORARY_FILE_H

#include <span>
#include <string>

#include "mqc_fes_intf.h"

namespace shared {

/// A file under a temporary name, which is hidden, removed at the end of its scope. The functions
/// return an error number, 0 for none.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& dir) : path_(dir) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile();

  int create(std::span<const u8> bytes);
  /// Links the file, if there is one, to its final name, which must be new.
  int linkTo(const std::string& path) const;
  /// Gives the file its final name in the same directory, at once in place of another file.
  int renameTo(const std::string& path);
  bool exists() const { return created_; }

 private:
  std::string path_;
  bool created_ = false;
};

/// The path from the root: the process may change its working directory later.
std::string absolute(const char* path);

}  // namespace shared

#endif
