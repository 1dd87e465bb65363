#include "platform/grpc/service_config.h"

#include <grpcpp/support/validate_service_config.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace delivery {
namespace {

constexpr std::string_view healthChecks = "healthCheckConfig";
constexpr std::array<std::string_view, 5> knownMembers = {
    "loadBalancingPolicy", "loadBalancingConfig", "methodConfig", "retryThrottling", healthChecks};

bool isKnown(std::string_view member) {
  return std::find(knownMembers.begin(), knownMembers.end(), member) != knownMembers.end();
}

/// The first member of the whole object that the condition holds for; empty if there is none. The
/// JSON is sound and has no escapes.
template <class Condition>
std::string_view firstMember(std::string_view json, Condition condition) {
  int depth = 0;
  for (std::size_t at = 0; at < json.size(); ++at) {
    if (json[at] == '{' || json[at] == '[') ++depth;
    if (json[at] == '}' || json[at] == ']') --depth;
    if (json[at] != '"') continue;
    const std::size_t begin = at + 1;
    at = json.find('"', begin);
    const bool isName = json[json.find_first_not_of(" \t\r\n", at + 1)] == ':';
    const std::string_view text = json.substr(begin, at - begin);
    if (depth == 1 && isName && condition(text)) return text;
  }
  return {};
}

/// gRPC's policies without health checks ignore them; names of policies count in either case.
bool ignoresHealth(const std::string& json) {
  const auto isHealth = [](std::string_view member) { return member == healthChecks; };
  if (firstMember(json, isHealth).empty()) return false;
  std::string lower = json;
  std::transform(json.begin(), json.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower.find("\"round_robin\"") == lower.npos;
}

}  // namespace

std::string serviceConfigFault(const std::string& json) {
  const std::string refusal = grpc::experimental::ValidateServiceConfigJSON(json);
  if (!refusal.empty()) return "is refused by gRPC: " + refusal;
  if (json.find('\\') != json.npos) return "has a backslash";
  // Those that expect another resolver's data crash without it.
  if (json.find("_experimental\"") != json.npos) return "names an experimental policy";
  const std::string_view unknown =
      firstMember(json, [](std::string_view member) { return !isKnown(member); });
  if (!unknown.empty()) {
    return "has the member '" + std::string(unknown) + "', which gRPC would ignore";
  }
  return ignoresHealth(json) ? "has healthCheckConfig, which requires round_robin" : "";
}

}  // namespace delivery
