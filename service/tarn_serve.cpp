// tarn-serve: a service behind MqcFesIntf that answers and shows every request.

#include <unistd.h>

#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "reader/schema.h"
#include "script/script.h"
#include "service/complaints.h"
#include "service/options.h"
#include "service/output.h"
#include "service/serving.h"
#include "service/signals.h"
#include "service/timing.h"
#include "shared/report.h"

const char* const shared::reporter = "tarn-serve";

namespace {

constexpr int cannotServe = 1;
constexpr int wrongArguments = 2;
constexpr int notAsExpected = 3;

// Never destroyed: a gRPC thread may still report.
service::Output* reports = nullptr;

/// Serves; nothing waits for the output.
int serve(const reader::Schema& schema, const service::Options& options, script::Script& rules) {
  std::signal(SIGPIPE, SIG_IGN);  // reported at the end
  const service::Signals signals;
  service::Output lines(STDOUT_FILENO);
  reports = new service::Output(STDERR_FILENO);
  shared::writeLinesWith([](std::string_view line) noexcept { reports->add(line); });
  const bool served = service::serveUntilEnded(schema, options, rules, signals, lines);
  const std::uint64_t lost = lines.finish(service::outputTime);
  if (lost > 0) {
    shared::report("stdout: not all lines could be written; %" PRIu64 " were lost", lost);
  }
  shared::writeLinesWith(nullptr);
  const bool isReported = reports->finish(service::endTime) == 0;
  if (!served || lost > 0 || !isReported) return cannotServe;
  return rules.isAsExpected() ? 0 : notAsExpected;
}

int print(const char* text) {
  return std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : cannotServe;
}

}  // namespace

int main(int argc, char** argv) {
  shared::holdStandardDescriptors();
  service::hearComplaints();
  reader::Schema schema(-1);
  const std::string fault = schema.load();
  if (!fault.empty()) {
    shared::report("%s", fault.c_str());
    return cannotServe;
  }
  const auto options = service::readOptions(argc, argv, schema);
  if (!options) return wrongArguments;
  if (options->help) return print(service::usage);
  if (options->version) return print("tarn-serve " TARN_VERSION "\n");
  script::Script rules;
  const std::string wrong = options->script.empty() ? "" : rules.read(options->script);
  if (wrong.empty()) return serve(schema, *options, rules);
  shared::report("%s", wrong.c_str());
  return wrongArguments;
}
