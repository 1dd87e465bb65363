#include "shared/grpc_errors.h"

#include <grpcpp/version_info.h>

#include <atomic>
#include <functional>

#define TARN_GRPC_LOGS_THROUGH_ABSL \
  (GRPC_CPP_VERSION_MAJOR > 1 || (GRPC_CPP_VERSION_MAJOR == 1 && GRPC_CPP_VERSION_MINOR >= 66))

#if TARN_GRPC_LOGS_THROUGH_ABSL
#include <absl/log/globals.h>
#include <absl/log/log_sink.h>
#include <absl/log/log_sink_registry.h>
#else
#include <grpc/support/log.h>
#endif

namespace shared {
namespace {

std::atomic<void (*)(std::string_view, std::string_view)> hearing = nullptr;

#if TARN_GRPC_LOGS_THROUGH_ABSL
class Ear final : public absl::LogSink {
 public:
  void Send(const absl::LogEntry& entry) override {
    if (entry.log_severity() < absl::LogSeverity::kError) return;
    hearing.load()({entry.source_filename().data(), entry.source_filename().size()},
                   {entry.text_message().data(), entry.text_message().size()});
  }
};

void listen() {
  static Ear* const ear = new Ear;  // in use to the end of the process
  absl::AddLogSink(ear);
  absl::SetStderrThreshold(absl::LogSeverityAtLeast::kFatal);
}
#else
void onLog(gpr_log_func_args* args) {
  if (args->severity == GPR_LOG_SEVERITY_ERROR) hearing.load()(args->file, args->message);
}

void listen() {
  gpr_set_log_function(onLog);
}
#endif

}  // namespace

bool isRepeated(std::string_view text) {
  static std::atomic<std::size_t> last = 0;
  const std::size_t hash = std::hash<std::string_view>{}(text);
  return last.exchange(hash) == hash;
}

void hearGrpcErrors(void (*hear)(std::string_view file, std::string_view text)) {
  hearing = hear;
  static const bool listens = (listen(), true);
  static_cast<void>(listens);
}

}  // namespace shared
