#include "platform/grpc/start.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>

#include "platform/grpc/callbacks.h"
#include "platform/grpc/failure.h"
#include "platform/grpc/log.h"
#include "platform/grpc/poller.h"
#include "platform/grpc/stats_file.h"
#include "platform/grpc/watchdog.h"

namespace delivery {
namespace {

std::atomic<bool> started = false;
std::atomic<bool> forked = false;

// Registered when the library is loaded, and takes no lock: a fork never waits here.
const int watched = pthread_atfork(nullptr, nullptr, [] { forked = started.load(); });

/// Descriptors that gRPC opens as it starts; it aborts if it cannot.
constexpr std::size_t descriptors = 8;

void checkDescriptors() {
  std::array<int, descriptors> files{};
  std::generate(files.begin(), files.end(), [] { return ::eventfd(0, EFD_CLOEXEC); });
  const bool all = std::find(files.begin(), files.end(), -1) == files.end();
  for (const int file : files) {
    if (file >= 0) ::close(file);
  }
  if (!all) {
    throw SetupError("fewer than " + std::to_string(descriptors) + " file descriptors are free");
  }
}

/// gRPC aborts if it knows none of the strategies in the variable, and later if it selects "none".
void checkPollStrategy() {
  const char* const variable = "GRPC_POLL_STRATEGY";
  const char* const value = ::secure_getenv(variable);
  if (value == nullptr) return;
  constexpr std::array<std::string_view, 3> known = {"all", "epoll1", "poll"};
  std::string_view rest = value;
  for (std::size_t end = 0; end != rest.npos; rest.remove_prefix(std::min(rest.size(), end + 1))) {
    end = rest.find(',');
    if (std::find(known.begin(), known.end(), rest.substr(0, end)) == known.end()) {
      throw SetupError(std::string(variable) + " is '" + value + "', not one of all, epoll1, poll");
    }
  }
}

void atExit() {
  if (isForked()) return;
  callbacks().atExit();
  statsFile().close();
}

}  // namespace

void makeReady() {
  static std::atomic<bool> ready = false;
  if (ready) return;
  if (watched != 0) throw std::bad_alloc();
  checkDescriptors();
  checkPollStrategy();
  statsFile().setUp();
  started = true;
  takeLog();
  poller();
  callbacks();
  watchdog();
  static const int registered = std::atexit(atExit);  // once, even if the rest is tried again
  if (registered != 0) throw std::bad_alloc();
  ready = true;
}

bool isForked() {
  return forked;
}

}  // namespace delivery
