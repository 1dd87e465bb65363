#include "platform/grpc/settings.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "platform/grpc/failure.h"

namespace platform {
namespace {

struct Range {
  u32 least, most, otherwise;
};

constexpr Range deadlineRange = {1, 3'600'000, 10'000};
constexpr Range inFlightRange = {1, 100'000, 2'000};
constexpr Range flagRange = {0, 1, 0};

/// What complaints call the settings: variables of the environment or members of the options.
struct Names {
  const char *target, *deadline, *maxInFlight, *full, *wait, *ca, *cert, *key, *serverName;
};

constexpr Names variables = {"TARN_GRPC_TARGET", "TARN_GRPC_DEADLINE_MS", "TARN_GRPC_MAX_IN_FLIGHT",
                             "TARN_GRPC_FULL",   "TARN_GRPC_WAIT",        "TARN_GRPC_CA",
                             "TARN_GRPC_CERT",   "TARN_GRPC_KEY",         "TARN_GRPC_SERVER_NAME"};
constexpr Names members = {"target", "deadlineMs", "maxInFlight", "full",      "waitForReady",
                           "ca",     "cert",       "key",         "serverName"};

[[noreturn]] void refuse(const char* name, const std::string& why) {
  throw SetupError(std::string(name) + ' ' + why);
}

u32 inRange(const char* name, const Range& range, u32 value, const std::string& shown) {
  if (value >= range.least && value <= range.most) return value;
  refuse(name, "is '" + shown + "', not a whole number from " + std::to_string(range.least) +
                   " to " + std::to_string(range.most));
}

u32 orDefault(const char* name, const Range& range, u32 value) {
  return value == 0 ? range.otherwise : inRange(name, range, value, std::to_string(value));
}

/// 0 for a variable that is not set.
u32 numberOf(const char* variable, const Range& range) {
  const char* const text = std::getenv(variable);
  if (text == nullptr) return 0;
  u32 value = 0;
  const char* const end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, value);
  const bool whole = error == std::errc{} && rest == end;
  return inRange(variable, range, whole ? value : UINT32_MAX, text);
}

std::string textOf(const char* name, const char* text) {
  if (text == nullptr) return {};
  if (*text == '\0') refuse(name, "is empty");
  return text;
}

/// gRPC would go ahead with a file that cannot be read, as if it were empty.
std::string pemOf(const char* name, const char* path, const char* content) {
  if (path == nullptr) return {};
  std::ifstream file(path, std::ios::binary);
  std::string pem(std::istreambuf_iterator<char>(file), {});
  if (!file.is_open() || file.bad()) {
    refuse(name, "is '" + std::string(path) + "': " + std::strerror(errno));
  }
  if (pem.find(content) == std::string::npos) {
    refuse(name, "is '" + std::string(path) + "', which has no line with " + content);
  }
  return pem;
}

void checkTls(const Settings& settings, const Names& names) {
  if (settings.cert.empty() != settings.key.empty()) {
    refuse(settings.cert.empty() ? names.cert : names.key, "is missing: the two come together");
  }
  if (settings.ca.empty() && (!settings.cert.empty() || !settings.serverName.empty())) {
    refuse(names.ca, "is missing: certificates and server names need it");
  }
}

Settings settingsOf(const TarnGrpcOptions& options, const Names& names) {
  Settings settings = {
      textOf(names.target, options.target),
      std::chrono::milliseconds(orDefault(names.deadline, deadlineRange, options.deadlineMs)),
      orDefault(names.maxInFlight, inFlightRange, options.maxInFlight),
      orDefault(names.full, flagRange, options.full) != 0,
      orDefault(names.wait, flagRange, options.waitForReady) != 0,
      pemOf(names.ca, options.ca, "BEGIN CERTIFICATE"),
      pemOf(names.cert, options.cert, "BEGIN CERTIFICATE"),
      pemOf(names.key, options.key, "PRIVATE KEY"),
      textOf(names.serverName, options.serverName)};
  if (settings.target.empty()) refuse(names.target, "is missing: there is no service to call");
  checkTls(settings, names);
  return settings;
}

}  // namespace

Settings settingsOf(const TarnGrpcOptions& options) {
  return settingsOf(options, members);
}

Settings settingsOfEnvironment() {
  return settingsOf(
      {std::getenv(variables.target), numberOf(variables.deadline, deadlineRange),
       numberOf(variables.maxInFlight, inFlightRange), numberOf(variables.full, flagRange),
       numberOf(variables.wait, flagRange), std::getenv(variables.ca), std::getenv(variables.cert),
       std::getenv(variables.key), std::getenv(variables.serverName)},
      variables);
}

}  // namespace platform
