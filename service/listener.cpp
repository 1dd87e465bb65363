#include "service/listener.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

namespace service {
namespace {

/// An Internet address, of either version.
union Address {
  sockaddr any;
  sockaddr_in v4;
  sockaddr_in6 v6;
};

std::uint16_t portOf(int socket) {
  Address address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket, &address.any, &size) != 0) return 0;
  return ntohs(address.any.sa_family == AF_INET6 ? address.v6.sin6_port : address.v4.sin_port);
}

void set(int socket, int level, int option) {
  const int on = 1;
  ::setsockopt(socket, level, option, &on, sizeof on);
}

/// Returns a socket that listens, or -1 with errno set. Port 0 stands for the passed one.
int listenOn(const addrinfo& found, std::uint16_t port) {
  Address address{};
  std::memcpy(&address, found.ai_addr, found.ai_addrlen);
  in_port_t& itsPort = found.ai_family == AF_INET6 ? address.v6.sin6_port : address.v4.sin_port;
  if (itsPort == 0) itsPort = htons(port);
  const int listener = ::socket(found.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (listener < 0) return -1;
  set(listener, SOL_SOCKET, SO_REUSEADDR);  // connections of a former service are no obstacle
  set(listener, IPPROTO_TCP, TCP_NODELAY);  // connections inherit it
  if (::bind(listener, &address.any, found.ai_addrlen) == 0 && ::listen(listener, SOMAXCONN) == 0) {
    return listener;
  }
  const int error = errno;
  ::close(listener);
  errno = error;
  return -1;
}

/// Whether the address is in the list already: a host may have one by two names.
bool isRepeated(const addrinfo* all, const addrinfo& one) {
  for (; all != &one; all = all->ai_next) {
    if (all->ai_addrlen == one.ai_addrlen &&
        std::memcmp(all->ai_addr, one.ai_addr, one.ai_addrlen) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

Listener::~Listener() {
  closeAll();
}

std::string Listener::open(const std::string& address) {
  bound_ = address;
  if (address.rfind("unix:", 0) == 0) return openPath(address.substr(5));
  const std::size_t colon = address.rfind(':');
  std::string host = address.substr(0, colon);
  if (host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  std::string fault = openPort(host, address.substr(colon + 1));
  if (!sockets_.empty()) {
    bound_ = address.substr(0, colon + 1) + std::to_string(portOf(sockets_.front()));
  }
  return fault;
}

std::string Listener::openPath(const std::string& path) {
  const int listener = path_.listen(path);
  if (listener < 0) return path_.fault();
  sockets_.push_back(listener);
  return "";
}

std::string Listener::openPort(const std::string& host, const std::string& port) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  // Without a name it is the loopback addresses, which a machine has that knows no name for them.
  const char* const name = host == "localhost" ? nullptr : host.c_str();
  const int failure = ::getaddrinfo(name, port.c_str(), &wanted, &found);
  if (failure != 0) return ::gai_strerror(failure);
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, ::freeaddrinfo);
  // The port that is free at the first address may be in use at the next.
  int error = 0;
  for (int tries = port == "0" ? 16 : 1; tries > 0; --tries) {
    error = openAll(found);
    if (error != EADDRINUSE) break;
  }
  return error == 0 ? "" : std::strerror(error);
}

/// Returns an error number, 0 for none. An address that the machine does not have is none while
/// there is another.
int Listener::openAll(const addrinfo* addresses) {
  closeAll();
  int error = 0;
  for (const addrinfo* next = addresses; next != nullptr; next = next->ai_next) {
    if (isRepeated(addresses, *next)) continue;
    const int listener = listenOn(*next, sockets_.empty() ? 0 : portOf(sockets_.front()));
    if (listener >= 0) {
      sockets_.push_back(listener);
      continue;
    }
    error = errno;
    if (error != EADDRNOTAVAIL && error != EAFNOSUPPORT) {
      closeAll();
      return error;
    }
  }
  return sockets_.empty() ? error : 0;
}

void Listener::closeAll() {
  for (const int socket : sockets_) ::close(socket);
  sockets_.clear();
}

std::string peerOf(int socket) {
  Address address{};
  socklen_t size = sizeof address;
  if (::getpeername(socket, &address.any, &size) != 0) return "a peer that has gone";
  if (address.any.sa_family == AF_UNIX) {
    ucred peer{};
    socklen_t length = sizeof peer;
    ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length);
    return "process " + std::to_string(peer.pid);
  }
  char host[NI_MAXHOST];
  char port[NI_MAXSERV];
  if (::getnameinfo(&address.any, size, host, sizeof host, port, sizeof port,
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "a peer without a name";
  }
  return address.any.sa_family == AF_INET6 ? '[' + std::string(host) + "]:" + port
                                           : std::string(host) + ':' + port;
}

}  // namespace service
