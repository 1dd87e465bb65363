#ifndef PLATFORM_GRPC_SETTINGS_H
#define PLATFORM_GRPC_SETTINGS_H

#include <chrono>
#include <string>

#include "tarn/grpc.h"

namespace delivery {

/// A channel's settings, checked: numbers in range, files read.
struct Settings {
  std::string target;
  std::chrono::milliseconds deadline;
  u64 maxInFlight;
  u64 maxBytes;
  bool full;
  bool stream = false;
  bool waitForReady;
  std::string ca;  ///< PEM, as cert and key; empty without TLS
  std::string cert;
  std::string key;
  std::string serverName;
};

// Both throw a SetupError that names the setting.

Settings settingsOf(const TarnGrpcOptions& options);
Settings settingsOfEnvironment();

}  // namespace delivery

#endif
