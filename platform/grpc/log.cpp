#include "platform/grpc/log.h"

#include <grpc/support/log.h>

#include <atomic>
#include <functional>
#include <string_view>

#include "platform/common/report.h"

namespace platform {
namespace {

thread_local LogOfThread* kept = nullptr;

/// Why a handshake failed is in the failure of each call that needs the connection.
bool isReportedByCalls(std::string_view file) {
  return file.ends_with("ssl_transport_security.cc");
}

void onLog(gpr_log_func_args* args) {
  if (args->severity != GPR_LOG_SEVERITY_ERROR || isReportedByCalls(args->file)) return;
  if (kept != nullptr) return kept->add(args->message);
  // What fails again and again is reported once.
  static std::atomic<std::size_t> last = 0;
  const std::size_t hash = std::hash<std::string_view>{}(args->message);
  if (last.exchange(hash) != hash) report("%s", args->message);
}

}  // namespace

void takeLog() {
  gpr_set_log_function(onLog);
}

LogOfThread::LogOfThread() {
  kept = this;
}

LogOfThread::~LogOfThread() {
  kept = nullptr;
}

void LogOfThread::add(const char* message) {
  if (first_.empty()) first_ = message;
}

}  // namespace platform
