#include "platform/grpc/settings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/grpc/failure.h"
#include "platform/grpc/target.h"
#include "shared/tls.h"

namespace delivery {
namespace {

struct Range {
  u64 least, most, otherwise;
};

constexpr Range deadlineRange = {1, 3'600'000, 10'000};
constexpr Range inFlightRange = {1, 100'000, 2'000};
constexpr Range bytesRange = {1, u64{1} << 40, 256 << 20};
constexpr Range flagRange = {0, 1, 0};
constexpr std::size_t mostTextBytes = 1 << 20;  // of a file, or of the service configuration

// A program brings the options of the header that it was compiled with.
constexpr u32 leastOptions = 80;  // of the first header, 1.1.0
constexpr u32 mostOptions = 4096;
static_assert(sizeof(TarnGrpcOptions) >= leastOptions && sizeof(TarnGrpcOptions) <= mostOptions);

/// The settings' names in messages: environment variables or members of the options.
struct Names {
  const char *target, *deadline, *maxInFlight, *maxBytes, *full, *wait, *stream, *ca, *cert, *key,
      *serverName, *serviceConfig;
};

constexpr Names variables = {
    "TARN_GRPC_TARGET",    "TARN_GRPC_DEADLINE_MS", "TARN_GRPC_MAX_IN_FLIGHT",
    "TARN_GRPC_MAX_BYTES", "TARN_GRPC_FULL",        "TARN_GRPC_WAIT",
    "TARN_GRPC_STREAM",    "TARN_GRPC_CA",          "TARN_GRPC_CERT",
    "TARN_GRPC_KEY",       "TARN_GRPC_SERVER_NAME", "TARN_GRPC_SERVICE_CONFIG"};
constexpr Names members = {"target", "deadlineMs",   "maxInFlight", "maxBytes",
                           "full",   "waitForReady", "stream",      "ca",
                           "cert",   "key",          "serverName",  "serviceConfig"};

[[noreturn]] void refuse(const char* name, const std::string& why) {
  throw SetupError(std::string(name) + ' ' + why);
}

u64 inRange(const char* name, const Range& range, u64 value, const std::string& shown) {
  if (value >= range.least && value <= range.most) return value;
  refuse(name, "is '" + shown + "', not a whole number from " + std::to_string(range.least) +
                   " to " + std::to_string(range.most));
}

u64 orDefault(const char* name, const Range& range, u64 value) {
  return value == 0 ? range.otherwise : inRange(name, range, value, std::to_string(value));
}

/// A program that runs with another user's rights ignores the environment of the user who started
/// it.
const char* valueOf(const char* variable) {
  return ::secure_getenv(variable);
}

/// 0 for a variable that is not set.
u64 numberOf(const char* variable, const Range& range) {
  const char* const text = valueOf(variable);
  if (text == nullptr) return 0;
  u64 value = 0;
  const char* const end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, value);
  const bool whole = error == std::errc{} && rest == end;
  return inRange(variable, range, whole ? value : UINT64_MAX, text);
}

std::string textOf(const char* name, const char* text) {
  if (text == nullptr) return {};
  if (*text == '\0') refuse(name, "is empty");
  return text;
}

[[noreturn]] void refuseFile(const char* name, const char* path, const std::string& why) {
  refuse(name, "is '" + std::string(path) + "'" + why);
}

/// A file that is open as long as this object lives.
struct OpenFile {
  explicit OpenFile(const char* path) : number(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() {
    if (number >= 0) ::close(number);
  }
  const int number;
};

/// gRPC would treat an unreadable file as empty. A pipe might never end.
std::string contentOf(const char* name, const char* path) {
  const OpenFile file(path);
  struct stat found {};
  if (file.number < 0 || ::fstat(file.number, &found) != 0) {
    refuseFile(name, path, std::string(": ") + std::strerror(errno));
  }
  if (!S_ISREG(found.st_mode)) refuseFile(name, path, ", which is not a regular file");
  std::string content(mostTextBytes + 1, '\0');
  std::size_t size = 0;
  ssize_t taken = 0;
  while ((taken = ::read(file.number, content.data() + size, content.size() - size)) > 0) {
    size += static_cast<std::size_t>(taken);
  }
  if (taken < 0) refuseFile(name, path, std::string(": ") + std::strerror(errno));
  content.resize(size);
  return content;
}

/// The contents of a PEM file, empty where none is named; faultOf returns what is wrong with them.
template <class FaultOf>
std::string pemOf(const char* name, const char* path, FaultOf faultOf) {
  if (path == nullptr) return {};
  std::string pem = contentOf(name, path);
  const std::string fault = pem.size() > mostTextBytes ? "holds more than 1 MiB" : faultOf(pem);
  if (!fault.empty()) refuseFile(name, path, ", which " + fault);
  return pem;
}

/// The file is read again later, when the process may be in another folder.
std::string absolute(const char* name, const char* path) {
  if (path == nullptr) return {};
  std::error_code error;
  const std::filesystem::path full = std::filesystem::absolute(path, error);
  if (error) refuseFile(name, path, ": " + error.message());
  return full;
}

void checkFiles(const TarnGrpcOptions& options, const Names& names) {
  pemOf(names.ca, options.ca, shared::certificatesFault);
  const std::string cert = pemOf(names.cert, options.cert, shared::ownCertificatesFault);
  pemOf(names.key, options.key,
        [&](const std::string& pem) { return shared::keyFault(pem, cert); });
}

void readTls(Settings& settings, const TarnGrpcOptions& options, const Names& names) {
  settings.serverName = textOf(names.serverName, options.serverName);
  if ((options.cert == nullptr) != (options.key == nullptr)) {
    refuse(options.cert == nullptr ? names.cert : names.key,
           "is missing: certificate and key are used together");
  }
  if (options.ca == nullptr && (options.cert != nullptr || options.serverName != nullptr)) {
    refuse(names.ca, "is missing: certificates and server names require it");
  }
  checkFiles(options, names);
  settings.ca = absolute(names.ca, options.ca);
  settings.cert = absolute(names.cert, options.cert);
  settings.key = absolute(names.key, options.key);
}

std::string serviceConfigOf(const char* name, const char* text) {
  std::string config = textOf(name, text);
  if (config.size() > mostTextBytes) refuse(name, "is longer than 1 MiB");
  return config;
}

std::string targetOf(const char* name, const char* text) {
  std::string target = textOf(name, text);
  if (target.empty()) refuse(name, "is missing: there is no service to call");
  const std::string fault = targetFault(target);
  if (!fault.empty()) refuse(name, "is '" + target + "', " + fault);
  return target;
}

Settings settingsOf(const TarnGrpcOptions& options, const Names& names) {
  Settings settings;
  settings.target = targetOf(names.target, options.target);
  settings.deadline =
      std::chrono::milliseconds(orDefault(names.deadline, deadlineRange, options.deadlineMs));
  settings.maxInFlight = orDefault(names.maxInFlight, inFlightRange, options.maxInFlight);
  settings.maxBytes = orDefault(names.maxBytes, bytesRange, options.maxBytes);
  settings.full = orDefault(names.full, flagRange, options.full) != 0;
  settings.waitForReady = orDefault(names.wait, flagRange, options.waitForReady) != 0;
  settings.stream = orDefault(names.stream, flagRange, options.stream) != 0;
  settings.serviceConfig = serviceConfigOf(names.serviceConfig, options.serviceConfig);
  readTls(settings, options, names);
  return settings;
}

/// The members that this runtime knows. Those of a later header must not be set.
TarnGrpcOptions knownOf(const TarnGrpcOptions& options) {
  const u32 size = options.size;
  if (size < leastOptions || size > mostOptions) {
    refuse("size", "is '" + std::to_string(size) + "', not sizeof(TarnGrpcOptions)");
  }
  const auto* const bytes = reinterpret_cast<const u8*>(&options);
  const auto isSet = [](u8 byte) { return byte != 0; };
  if (size > sizeof options && std::any_of(bytes + sizeof options, bytes + size, isSet)) {
    refuse("size", "is '" + std::to_string(size) + "': of a later version, some of whose members" +
                       " are set and not known here");
  }
  TarnGrpcOptions known{};
  std::memcpy(&known, bytes, std::min<std::size_t>(size, sizeof known));
  return known;
}

}  // namespace

Settings settingsOf(const TarnGrpcOptions& options) {
  return settingsOf(knownOf(options), members);
}

Settings settingsOfEnvironment() {
  const auto number = [](const char* name, const Range& range) {
    return static_cast<u32>(numberOf(name, range));
  };
  TarnGrpcOptions options{};
  options.target = valueOf(variables.target);
  options.deadlineMs = number(variables.deadline, deadlineRange);
  options.maxInFlight = number(variables.maxInFlight, inFlightRange);
  options.full = number(variables.full, flagRange);
  options.waitForReady = number(variables.wait, flagRange);
  options.stream = number(variables.stream, flagRange);
  options.ca = valueOf(variables.ca);
  options.cert = valueOf(variables.cert);
  options.key = valueOf(variables.key);
  options.serverName = valueOf(variables.serverName);
  options.maxBytes = numberOf(variables.maxBytes, bytesRange);
  options.serviceConfig = valueOf(variables.serviceConfig);
  return settingsOf(options, variables);
}

}  // namespace delivery
