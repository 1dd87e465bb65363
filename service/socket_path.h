#ifndef SERVICE_SOCKET_PATH_H
#define SERVICE_SOCKET_PATH_H

#include <sys/types.h>

#include <string>

namespace service {

/// The path of a Unix socket, used by one service at most, which holds a lock on PATH.lock while it
/// serves. The service removes both files at its end; the next one takes over what a killed one
/// left behind. Links are not followed.
class SocketPath {
 public:
  SocketPath() = default;
  ~SocketPath();
  SocketPath(const SocketPath&) = delete;
  SocketPath& operator=(const SocketPath&) = delete;

  /// Returns a non-blocking socket that listens on the path, for the caller to close; -1 with a
  /// fault if another service, locked or not, listens there, or the path is not a socket's.
  int listen(const std::string& path);
  const std::string& fault() const { return fault_; }

 private:
  bool lock();
  bool isFree();

  std::string path_;
  std::string fault_;
  int lock_ = -1;
  ino_t inode_ = 0;  // of the socket that was made; 0 for none
};

}  // namespace service

#endif
