#include "service/gate.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "service/timing.h"
#include "shared/report.h"

namespace service {
namespace {

using std::chrono::milliseconds;

constexpr rlim_t mostConnections = 4096;
/// Descriptors for captures and for gRPC, where there are four times as many.
constexpr rlim_t reserve = 64;
/// How long no connection is accepted after a shortage.
constexpr milliseconds pauseTime{50};
/// How long a silent peer is safe from disconnection.
constexpr milliseconds graceTime{100};
constexpr std::chrono::minutes reportTime{1};

/// Raises the limit of descriptors to the hard one and returns the first not meant for
/// connections, or, of the reserve, for those that may have half of it.
int ceilingOfDescriptors(bool ofReserve) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit raised{limit.rlim_max, limit.rlim_max};
  const rlim_t all = ::setrlimit(RLIMIT_NOFILE, &raised) == 0 ? raised.rlim_cur : limit.rlim_cur;
  const rlim_t reserved = std::min(reserve, all / 4);
  const rlim_t ceiling = std::min(all - reserved, mostConnections);
  return static_cast<int>(ofReserve ? ceiling + reserved / 2 : ceiling);
}

/// The lowest descriptor that is free: all below are in use.
int lowestFree(int anyOpen) {
  const int lowest = ::fcntl(anyOpen, F_DUPFD_CLOEXEC, 0);
  if (lowest >= 0) ::close(lowest);
  return lowest;
}

bool isReadable(int socket) {
  pollfd waited{socket, POLLIN, 0};
  return ::poll(&waited, 1, 0) > 0;
}

enum class Said { nothing, something, goodbye };

Said heard(int socket) {
  char byte = 0;
  const ssize_t size = ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  if (size > 0) return Said::something;
  return size < 0 && (errno == EAGAIN || errno == EINTR) ? Said::nothing : Said::goodbye;
}

/// Whether accept failed because of the connection itself.
bool isPeersFault(int error) {
  constexpr int faults[] = {EINTR,     ECONNABORTED, EPROTO,      EPERM,      ENETDOWN, ENOPROTOOPT,
                            EHOSTDOWN, EHOSTUNREACH, ENETUNREACH, EOPNOTSUPP, ENONET};
  return std::find(std::begin(faults), std::end(faults), error) != std::end(faults);
}

bool isShortage(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

Gate::Gate(const std::vector<int>& listeners, std::function<void(int)> admit, Room room)
    : listeners_(listeners),
      admit_(std::move(admit)),
      room_(room),
      ceiling_(ceilingOfDescriptors(room.ofReserve)) {}

Gate::~Gate() {
  for (const Silent& silent : silent_) ::close(silent.socket);
}

bool Gate::turn(std::initializer_list<int> others, milliseconds longest) {
  std::vector<pollfd> waited;
  for (const int other : others) waited.push_back({other, POLLIN, 0});
  const bool isPaused = Clock::now() < pausedUntil_;
  for (const Silent& silent : silent_) waited.push_back({silent.socket, POLLIN, 0});
  if (isPaused) {
    longest = std::min(longest, pauseTime);
  } else {
    for (const int listener : listeners_) waited.push_back({listener, POLLIN, 0});
  }
  ::poll(waited.data(), waited.size(), static_cast<int>(longest.count()));
  hearAll();
  return isPaused || std::all_of(listeners_.begin(), listeners_.end(),
                                 [this](int listener) { return accept(listener); });
}

/// Admits a peer that has sent something, and drops one that ended, must make room or was silent
/// too long. Returns whether it is no longer among the silent.
bool Gate::settle(const Silent& silent, bool mustGo) {
  const Said said = heard(silent.socket);
  if (said == Said::something) {
    admit_(silent.socket);
  } else if (said == Said::goodbye || mustGo || Clock::now() - silent.since > handshakeTime) {
    ::close(silent.socket);
  } else {
    return false;
  }
  return true;
}

void Gate::hearAll() {
  const auto settled = [this](const Silent& silent) { return settle(silent, false); };
  silent_.erase(std::remove_if(silent_.begin(), silent_.end(), settled), silent_.end());
}

bool Gate::hasPlace() const {
  const int lowest = lowestFree(listeners_.front());
  return lowest >= 0 && lowest < ceiling_ && silent_.size() < room_.silent;
}

/// Returns whether the next connection has a place.
bool Gate::makePlace() {
  while (!hasPlace()) {
    if (silent_.empty() || Clock::now() - silent_.front().since < graceTime) return false;
    settle(silent_.front(), true);
    silent_.pop_front();
  }
  return true;
}

/// Accepts waiting connections as long as there are places.
bool Gate::accept(int listener) {
  while (isReadable(listener)) {
    if (!makePlace()) {
      pause("the limit of open connections is reached");
      return true;
    }
    const int socket = ::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    const int error = errno;
    if (socket >= 0) {
      silent_.push_back({socket, Clock::now()});
    } else if (isShortage(error)) {
      pause(std::strerror(error));
      return true;
    } else if (error != EAGAIN && !isPeersFault(error)) {
      shared::report("accept: %s", std::strerror(error));
      return false;
    }
  }
  return true;
}

/// A shortage is reported once, and again only after a while without one.
void Gate::pause(const char* reason) {
  const Clock::time_point now = Clock::now();
  if (now > reportedUntil_) shared::report("no %s is accepted: %s", room_.what, reason);
  reportedUntil_ = now + reportTime;
  pausedUntil_ = now + pauseTime;
}

}  // namespace service
