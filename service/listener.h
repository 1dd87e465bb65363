#ifndef SERVICE_LISTENER_H
#define SERVICE_LISTENER_H

#include <string>
#include <vector>

#include "service/socket_path.h"

struct addrinfo;

namespace service {

/// The sockets that listen on an address.
class Listener {
 public:
  Listener() = default;
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// Listens on unix:PATH, or on HOST:PORT at every address of the host. Returns why not, or
  /// nothing.
  std::string open(const std::string& address);

  /// The address that clients call.
  const std::string& bound() const { return bound_; }
  /// Sockets that do not block, open as long as the listener.
  const std::vector<int>& sockets() const { return sockets_; }

 private:
  std::string openPath(const std::string& path);
  std::string openPort(const std::string& host, const std::string& port);
  int openAll(const addrinfo* addresses);
  void closeAll();

  SocketPath path_;
  std::string bound_;
  std::vector<int> sockets_;
};

/// A socket's peer, as reports name it: its address, or its process.
std::string peerOf(int socket);

}  // namespace service

#endif
