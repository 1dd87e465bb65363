#include "shared/recording_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "shared/recording_packet.h"
#include "shared/section.h"

namespace shared {
namespace {

/// Away from the numbers that a program gets: one that closes descriptors which are not its own
/// would otherwise soon have a file or socket of its own under this number.
constexpr int lowestDescriptor = 512;
constexpr int behindStandard = 3;

/// The name of a former file; 0 is the present one.
void nameFormer(char* name, std::string_view path, int number) {
  name = std::copy(path.begin(), path.end(), name);
  if (number > 0) {
    *name++ = '-';
    *name++ = static_cast<char>('0' + number);
  }
  *name = '\0';
}

bool beginsAsRecording(int file) {
  std::array<u8, recordingHead.size()> head;
  const ssize_t size = ::pread(file, head.data(), head.size(), 0);
  return size == 0 || (size == ssize_t{head.size()} && head == recordingHead);
}

/// Whether the file at the path may make way. ENOENT: there is none; EWOULDBLOCK: it is written.
int mayMove(const char* path) {
  struct stat found = {};
  if (::lstat(path, &found) != 0) return errno;
  if (!S_ISREG(found.st_mode)) return EEXIST;  // a pipe or device would notice an open()
  const int file = ::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (file < 0) return errno == ELOOP ? EEXIST : errno;
  int error = EEXIST;
  if (::fstat(file, &found) == 0 && S_ISREG(found.st_mode) && beginsAsRecording(file)) {
    error = ::flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK ? EWOULDBLOCK : 0;
  }
  ::close(file);
  return error;
}

/// At a place, which a pipe or socket refuses: the program may have closed the file, and opened one
/// of its own under the number. pwritev takes a tenth longer. The C library's functions are
/// cancellation points: to forbid cancellation around each would take as long as a clock's reading.
ssize_t writeOnce(int file, std::span<const iovec> parts, u64 place) {
  if (parts.size() > 1) return ::syscall(SYS_pwritev, file, parts.data(), parts.size(), place, 0L);
  return ::syscall(SYS_pwrite64, file, parts[0].iov_base, parts[0].iov_len, place);
}

/// The file under a high number.
int moveUp(int file) {
  int moved = ::fcntl(file, F_DUPFD_CLOEXEC, lowestDescriptor);
  if (moved < 0) moved = ::fcntl(file, F_DUPFD_CLOEXEC, behindStandard);
  const int error = errno;
  ::close(file);
  errno = error;
  return moved;
}

}  // namespace

int RecordingFiles::setUp(std::string_view path, u64 bytes) {
  std::size_t folder = 0;
  if (!path.starts_with('/')) {  // the program may change its folder later
    if (::getcwd(path_, sizeof path_ - 1) == nullptr) return errno;
    folder = std::string_view(path_).size();
    path_[folder++] = '/';
  }
  given_ = folder + path.size();
  if (given_ + suffixes > sizeof path_) return ENAMETOOLONG;
  *std::copy(path.begin(), path.end(), path_ + folder) = '\0';
  quarter_ = bytes / (former + 1);
  readLimit();
  return 0;
}

void RecordingFiles::takeOwnName() {
  std::snprintf(path_ + given_, sizeof path_ - given_, ".%d", ::getpid());
}

void RecordingFiles::inChild() {
  close();
  takeOwnName();
}

int RecordingFiles::reserve(u64 size, time_t now, u64& lost) {
  if (file_ >= 0 && now != looked_) look(now, lost);
  if (file_ >= 0 && size_ + size > longest() && !isNew()) close();
  const int error = file_ >= 0 ? 0 : open();
  if (error != 0) return error;
  return size_ + size > limit_ ? EFBIG : 0;
}

int RecordingFiles::open() {
  const NoCancellation around;
  const int error = replace();
  if (error != EWOULDBLOCK) return error;
  takeOwnName();
  return replace();
}

int RecordingFiles::replace() {
  const int error = makeWay();
  return error != 0 ? error : create();
}

/// If there is a file, the oldest goes, and each other gets the next number.
int RecordingFiles::makeWay() {
  int error = 0;
  for (int number = former; number >= 0; --number) {
    nameFormer(from_, path_, number);
    error = mayMove(from_);
    if (error != 0 && error != ENOENT) return error;
  }
  if (error == ENOENT) return 0;
  for (int number = former; number > 0; --number) {
    nameFormer(from_, path_, number - 1);
    nameFormer(to_, path_, number);
    // Of a file that replaces another, ext4 writes all bytes to the disk first.
    if (number == former && ::access(from_, F_OK) == 0) ::unlink(to_);
    if (::rename(from_, to_) != 0 && errno != ENOENT) return errno;
  }
  return 0;
}

/// EWOULDBLOCK: another process was faster, or has just found the file.
int RecordingFiles::create() {
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_NOFOLLOW | O_CLOEXEC;
  const int opened = ::open(path_, flags, 0600);
  if (opened < 0) return errno == EEXIST ? EWOULDBLOCK : errno;
  file_ = moveUp(opened);
  if (file_ < 0) {
    const int error = errno;
    ::unlink(path_);  // or each attempt would push a former file out
    return error;
  }
  struct stat made = {};
  ::fstat(file_, &made);
  device_ = made.st_dev;
  inode_ = made.st_ino;
  if (::flock(file_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    close();
    return EWOULDBLOCK;
  }
  size_ = 0;
  unseen_ = 0;
  readLimit();
  return 0;
}

void RecordingFiles::readLimit() {
  rlimit limit = {};
  limit_ = ::getrlimit(RLIMIT_FSIZE, &limit) == 0 ? limit.rlim_cur : RLIM_INFINITY;
}

void RecordingFiles::look(time_t now, u64& lost) {
  struct stat open = {};
  struct stat named = {};
  looked_ = now;
  if (::fstat(file_, &open) != 0 || !isOurs(open)) {
    file_ = -1;  // the program has closed it; the number is another file's
  } else if (::lstat(path_, &named) != 0 || !isOurs(named)) {
    if (open.st_nlink == 0) lost += unseen_;
    close();
  }
  unseen_ = 0;
  readLimit();
}

int RecordingFiles::append(std::span<const iovec> parts) {
  std::size_t size = 0;
  for (const iovec& part : parts) size += part.iov_len;
  ssize_t written = 0;
  do written = writeOnce(file_, parts, size_);
  while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(size)) {
    size_ += size;
    ++unseen_;
    return 0;
  }
  int error = written < 0 ? errno : ENOSPC;
  if (written > 0) cutTo(size_);
  if (error == ESPIPE) error = EBADF;
  if (error == EBADF) file_ = -1;
  return error;
}

void RecordingFiles::cutTo(u64 size) {
  if (::ftruncate(file_, static_cast<off_t>(size)) == 0) {
    size_ = size;
  } else {
    close();  // nothing may follow half a packet
  }
}

/// Only the recording's own file, as the number may be another's.
void RecordingFiles::close() {
  const NoCancellation around;
  struct stat open = {};
  if (file_ >= 0 && ::fstat(file_, &open) == 0 && isOurs(open)) ::close(file_);
  file_ = -1;
}

bool RecordingFiles::isOurs(const struct stat& file) const {
  return file.st_dev == device_ && file.st_ino == inode_;
}

}  // namespace shared
