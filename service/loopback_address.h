#ifndef SERVICE_LOOPBACK_ADDRESS_H
#define SERVICE_LOOPBACK_ADDRESS_H

#include <cstdint>
#include <optional>
#include <string>

namespace service {

/// HOST:PORT, read.
struct HostAndPort {
  std::string host;  ///< not empty; an IPv6 address is in brackets
  std::uint16_t port;
};
std::optional<HostAndPort> readHostAndPort(const std::string& text);

/// Whether a host is this machine by one of its loopback addresses: localhost, 127.x or [::1].
bool isLoopback(const std::string& host);

}  // namespace service

#endif
