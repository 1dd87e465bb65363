#ifndef PLATFORM_GRPC_SETTINGS_H
#define PLATFORM_GRPC_SETTINGS_H

#include <chrono>
#include <string>

#include "tarn/grpc.h"

namespace delivery {

/// A channel's settings, checked: numbers in range, files sound.
struct Settings {
  std::string target;
  std::chrono::milliseconds deadline;
  u64 maxInFlight;
  u64 maxBytes;
  bool full;
  bool waitForReady;
  bool stream;     ///< calls travel in order over one stream
  std::string ca;  ///< absolute path of a PEM file, as cert and key; empty without TLS
  std::string cert;
  std::string key;
  std::string serverName;
  std::string serviceConfig;  ///< JSON, for gRPC to check
};

// Both throw a SetupError that names the setting.

Settings settingsOf(const TarnGrpcOptions& options);
Settings settingsOfEnvironment();

}  // namespace delivery

#endif
