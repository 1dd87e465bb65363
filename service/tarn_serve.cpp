// tarn-serve: a service behind MqcFesIntf that anybody can start. It answers every request and
// tells of it.

#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>

#include "inspect/schema.h"
#include "platform/common/report.h"
#include "service/journal.h"
#include "service/options.h"
#include "service/server.h"

const char* const platform::reporter = "tarn-serve";

namespace {

constexpr int cannotServe = 1;
constexpr int wrongArguments = 2;

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

int serve(const inspect::Schema& schema, const service::Options& options) {
  service::Journal journal(schema, options);
  if (!journal.open()) return cannotServe;
  // Blocked before gRPC starts its threads, the signals are left to this one.
  const sigset_t signals = endingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);  // told at the end

  service::Service generic(schema, journal);
  std::string bound;
  const auto server = service::start(options, generic, bound);
  if (server == nullptr) return cannotServe;
  std::printf("listening on %s\n", bound.c_str());
  std::fflush(stdout);
  int signal = 0;
  sigwait(&signals, &signal);
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);  // a second one ends what hangs
  server->Shutdown(std::chrono::system_clock::now() + std::chrono::seconds(1));
  server->Wait();
  journal.printTotals();
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
  platform::report("stdout: not all lines could be written");
  return cannotServe;
}

int print(const char* text) {
  return std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : cannotServe;
}

}  // namespace

int main(int argc, char** argv) {
  service::tellComplaints();
  inspect::Schema schema(-1);
  const std::string fault = schema.load();
  if (!fault.empty()) {
    platform::report("%s", fault.c_str());
    return cannotServe;
  }
  const auto options = service::readOptions(argc, argv, schema);
  if (!options) return wrongArguments;
  if (options->help) return print(service::usage);
  if (options->version) return print("tarn-serve " TARN_VERSION "\n");
  return serve(schema, *options);
}
