#include "platform/grpc/log.h"

#include <string_view>

#include "shared/grpc_errors.h"
#include "shared/report.h"

namespace delivery {
namespace {

thread_local LogOfThread* kept = nullptr;

/// What calls report as they fail, and what is repeated at every look at a missing certificate
/// file: connections report that once.
bool isReportedElsewhere(std::string_view file, std::string_view text) {
  const auto isIn = [&](std::string_view name) { return file.ends_with(name); };
  return isIn("ssl_transport_security.cc") || text.find("cancel_check_peer") != text.npos ||
         isIn("tls_certificate_provider.cc") || isIn("stat_posix.cc");
}

void onError(std::string_view file, std::string_view text) {
  if (isReportedElsewhere(file, text)) return;
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
