#include "platform/grpc/target.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

namespace delivery {
namespace {

/// Drops a prefix; returns whether it was there.
bool drop(std::string_view& text, std::string_view beginning) {
  if (text.substr(0, beginning.size()) != beginning) return false;
  text.remove_prefix(beginning.size());
  return true;
}

struct Address {
  std::string_view host;
  std::string_view port;
};

/// A colon outside an IPv6 address separates the two.
Address parted(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  const std::size_t bracket = text.rfind(']');
  const bool inAddress = bracket == text.npos ? text.find(':') != colon : colon < bracket;
  if (colon == text.npos || inAddress) return {text, {}};
  return {text.substr(0, colon), text.substr(colon + 1)};
}

bool isPort(std::string_view text) {
  std::uint32_t port = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, port);
  return error == std::errc{} && rest == end && port >= 1 && port <= 65535;
}

}  // namespace

std::string targetFault(const std::string& target) {
  std::string_view rest = target;
  if (drop(rest, "unix:") || drop(rest, "unix-abstract:")) {
    // A target is a URI, whose path ends there: a socket of another name would be called.
    if (rest.find_first_of("?#") != rest.npos) return "whose path has a '?' or '#'";
    return rest.empty() ? "which has no path" : "";
  }
  const bool isList = drop(rest, "ipv4:") || drop(rest, "ipv6:");
  if (!isList) drop(rest, "dns:");
  if (drop(rest, "//")) rest.remove_prefix(std::min(rest.size(), rest.find('/') + 1));
  for (bool more = true; more;) {
    const std::string_view text = isList ? rest.substr(0, rest.find(',')) : rest;
    more = text.size() < rest.size();
    rest.remove_prefix(text.size() + (more ? 1 : 0));
    const Address address = parted(text);
    if (address.host.empty()) return "which has no host";
    if (!isPort(address.port)) {
      return "whose port is not a number from 1 to 65535";
    }
  }
  return "";
}

}  // namespace delivery
