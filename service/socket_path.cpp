#include "service/socket_path.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace service {
namespace {

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), address.sun_path);
  return address;
}

int newSocket() {
  return ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

/// The error number of connecting to the path. Does not wait for a service that does not accept.
int connecting(const std::string& path) {
  const sockaddr_un address = addressOf(path);
  const int probe = newSocket();
  if (probe < 0) return errno;
  const bool answers =
      ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  const int error = answers ? 0 : errno;
  ::close(probe);
  return error;
}

/// Opens a lock file, which is empty; any other file is refused. Returns -1 with a fault.
int openLock(const std::string& path, std::string& fault) {
  const int file =
      ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  struct stat found {};
  if (file < 0 || ::fstat(file, &found) != 0) {
    fault = path + ": " + std::strerror(errno);
  } else if (!S_ISREG(found.st_mode) || found.st_size != 0) {
    fault = path + " is not a lock file";
  } else {
    return file;
  }
  if (file >= 0) ::close(file);
  return -1;
}

std::string lockOf(const std::string& path) {
  return path + ".lock";
}

/// The inode of the socket at the path, links not followed; 0 if there is none.
ino_t inodeOf(const std::string& path, mode_t kind) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0 && (found.st_mode & S_IFMT) == kind ? found.st_ino : 0;
}

/// Whether the path still leads to the open file.
bool isSame(int file, const std::string& path) {
  struct stat opened {};
  return ::fstat(file, &opened) == 0 && inodeOf(path, S_IFREG) == opened.st_ino;
}

}  // namespace

SocketPath::~SocketPath() {
  if (inode_ != 0 && inodeOf(path_, S_IFSOCK) == inode_) ::unlink(path_.c_str());
  if (lock_ < 0) return;
  ::unlink(lockOf(path_).c_str());  // a process that waits for this lock notices its removal
  ::close(lock_);
}

int SocketPath::listen(const std::string& path) {
  path_ = path;
  if (path.size() >= sizeof sockaddr_un{}.sun_path) fault_ = "the path is too long";
  if (!fault_.empty() || !lock() || !isFree()) return -1;
  const sockaddr_un address = addressOf(path);
  const int listener = newSocket();
  const bool bound = listener >= 0 && ::bind(listener, reinterpret_cast<const sockaddr*>(&address),
                                             sizeof address) == 0;
  if (bound) inode_ = inodeOf(path, S_IFSOCK);
  if (bound && ::listen(listener, SOMAXCONN) == 0) return listener;
  fault_ = std::strerror(errno);
  if (listener >= 0) ::close(listener);
  return -1;
}

/// Takes the lock, or returns why that failed.
bool SocketPath::lock() {
  const std::string path = lockOf(path_);
  // A file that its owner removed before unlocking it is not a lock.
  while (fault_.empty()) {
    const int file = openLock(path, fault_);
    if (file < 0) return false;
    if (::flock(file, LOCK_EX | LOCK_NB) != 0) {
      fault_ =
          errno == EWOULDBLOCK ? std::strerror(EADDRINUSE) : path + ": " + std::strerror(errno);
    } else if (isSame(file, path)) {
      lock_ = file;
      return true;
    }
    ::close(file);
  }
  return false;
}

/// Removes the socket of a service that was killed.
bool SocketPath::isFree() {
  struct stat found {};
  int error = ::lstat(path_.c_str(), &found) == 0 ? 0 : errno;
  if (error == 0 && !S_ISSOCK(found.st_mode)) error = EADDRINUSE;
  if (error == 0) {
    const int connected = connecting(path_);
    error = connected == 0 || connected == EAGAIN ? EADDRINUSE : connected;
  }
  if (error == ECONNREFUSED) error = ::unlink(path_.c_str()) == 0 ? 0 : errno;
  if (error == 0 || error == ENOENT) return true;
  fault_ = std::strerror(error);
  return false;
}

}  // namespace service
