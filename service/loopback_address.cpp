#include "service/loopback_address.h"

#include <arpa/inet.h>

#include "service/number.h"

namespace service {

std::optional<HostAndPort> readHostAndPort(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  std::uint16_t port = 0;
  if (colon == std::string::npos || colon == 0 || !readNumber(text.substr(colon + 1), port)) {
    return std::nullopt;
  }
  return HostAndPort{text.substr(0, colon), port};
}

bool isLoopback(const std::string& host) {
  in_addr address{};
  return host == "localhost" || host == "[::1]" ||
         (inet_pton(AF_INET, host.c_str(), &address) == 1 && host.rfind("127.", 0) == 0);
}

}  // namespace service
