#include "platform/grpc/target.h"

#include <charconv>
#include <cstdint>
#include <string_view>

namespace platform {
namespace {

/// Drops a beginning; whether it was there.
bool drop(std::string_view& text, std::string_view beginning) {
  if (text.substr(0, beginning.size()) != beginning) return false;
  text.remove_prefix(beginning.size());
  return true;
}

/// The text behind the colon that parts host and port; none where there is no port.
std::string_view portOf(std::string_view address) {
  const std::size_t bracket = address.rfind(']');
  const std::size_t colon = address.rfind(':');
  if (colon == std::string_view::npos) return "443";
  if (bracket == std::string_view::npos && address.find(':') != colon) return "443";  // IPv6 alone
  if (bracket != std::string_view::npos && colon < bracket) return "443";
  return address.substr(colon + 1);
}

bool isPort(std::string_view text) {
  std::uint32_t port = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, port);
  return error == std::errc{} && rest == end && port >= 1 && port <= 65535;
}

}  // namespace

std::string portFault(const std::string& target) {
  std::string_view rest = target;
  if (drop(rest, "unix:") || drop(rest, "unix-abstract:") || drop(rest, "vsock:")) return "";
  if (!drop(rest, "dns:") && !drop(rest, "ipv4:")) drop(rest, "ipv6:");
  if (drop(rest, "//")) rest.remove_prefix(std::min(rest.size(), rest.find('/') + 1));
  while (!rest.empty()) {
    const std::string_view address = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(rest.size(), address.size() + 1));
    const std::string_view port = portOf(address);
    if (!isPort(port)) return "port '" + std::string(port) + "', not a number from 1 to 65535";
  }
  return "";
}

}  // namespace platform
