#ifndef SERVICE_SOCKET_PATH_H
#define SERVICE_SOCKET_PATH_H

#include <sys/types.h>

#include <string>

namespace service {

/// The path of a Unix socket, which at most one service has: it holds a lock on PATH.lock beside it
/// while it serves. Both files go with the service; where it was killed they stay, and the next one
/// takes them over. Links are not followed.
class SocketPath {
 public:
  SocketPath() = default;
  ~SocketPath();
  SocketPath(const SocketPath&) = delete;
  SocketPath& operator=(const SocketPath&) = delete;

  /// Returns a socket that listens on the path and does not block, the caller's to close; -1 with a
  /// fault where the path cannot be had: another service, locked or not, listens there, or it is no
  /// socket's.
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
