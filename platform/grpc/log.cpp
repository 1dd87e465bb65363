#include "platform/grpc/log.h"

#include <string_view>

#include "shared/grpc_errors.h"
#include "shared/report.h"

namespace delivery {
namespace {

thread_local LogOfThread* kept = nullptr;

/// The reason of a failed handshake is in the failure of each call that needs the connection.
bool isReportedByCalls(std::string_view file) {
  return file.ends_with("ssl_transport_security.cc");
}

void onError(std::string_view file, std::string_view text) {
  if (isReportedByCalls(file)) return;
  if (kept != nullptr) return kept->add(text);
  if (!shared::isRepeated(text)) shared::report("%.*s", static_cast<int>(text.size()), text.data());
}

}  // namespace

void takeLog() {
  shared::hearGrpcErrors(onError);
}

LogOfThread::LogOfThread() {
  kept = this;
}

LogOfThread::~LogOfThread() {
  kept = nullptr;
}

void LogOfThread::add(std::string_view message) noexcept {
  if (*first_ == '\0') first_[message.copy(first_, sizeof first_ - 1)] = '\0';
}

}  // namespace delivery
