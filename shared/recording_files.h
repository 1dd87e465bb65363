#ifndef SHARED_RECORDING_FILES_H
#define SHARED_RECORDING_FILES_H

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <climits>
#include <ctime>
#include <span>
#include <string_view>

#include "mqc_fes_intf.h"

namespace shared {

/// The files of a recording: the one that is written, FILE, and the former ones, FILE-1 to FILE-3,
/// the oldest. Each has a quarter of the recording's bytes. Not for several threads at once.
///
/// A file is only ever written by the process that made it, which keeps it locked. Where another
/// process writes FILE, this one writes FILE.<process> instead. Functions return an error number, 0
/// for none; EEXIST where a file that is no recording is in the way.
class RecordingFiles {
 public:
  /// The path and the most bytes of all files. Opens nothing.
  int setUp(std::string_view path, u64 bytes);
  /// In a child made by fork: leaves the parent's file alone, takes FILE.<process>.
  void inChild();
  /// Leaves the present file.
  void close();

  /// Makes sure that so many bytes have room in the present file, with a new one if need be. Once a
  /// second, looks whether the file is still there; adds what has gone with it, in writes, to lost.
  int reserve(u64 size, time_t now, u64& lost);
  /// Nothing has been written to the present file.
  bool isNew() const { return size_ == 0; }
  u64 size() const { return size_; }
  /// The most bytes of a file; never changes.
  u64 quarter() const { return quarter_; }
  /// The most bytes that a file may have, in this process at present.
  u64 longest() const { return limit_ < quarter_ ? limit_ : quarter_; }

  /// Appends in one write, whole or not at all.
  int append(std::span<const iovec> parts);
  /// Takes back what is behind so many bytes.
  void cutTo(u64 size);
  const char* path() const { return path_; }

 private:
  static constexpr int former = 3;
  static constexpr std::size_t suffixes = 32;  // room for ".<process>" and "-1"

  void takeOwnName();
  int open();
  int replace();
  int create();
  int makeWay();
  void look(time_t now, u64& lost);
  void readLimit();
  bool isOurs(const struct stat& file) const;

  char path_[PATH_MAX] = {};
  char from_[PATH_MAX] = {};  // here, not on the stack of a thread that may have a small one
  char to_[PATH_MAX] = {};
  std::size_t given_ = 0;  // of the path, without the process
  u64 quarter_ = 0;
  u64 limit_ = 0;  // the process's own limit of a file's size
  u64 size_ = 0;
  u64 unseen_ = 0;  // writes since the file was last seen at its path
  time_t looked_ = 0;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  int file_ = -1;
};

}  // namespace shared

#endif
