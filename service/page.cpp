#include "service/page.h"

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "service/gate.h"
#include "service/timing.h"

namespace service {
namespace {

constexpr int answeringThreads = 4;
/// Connections whose request has begun, and that wait for a thread.
constexpr std::size_t mostWaiting = 4;
constexpr Room room = {.what = "connection to the page", .silent = 24, .ofReserve = true};

}  // namespace

Page::~Page() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    for (const int socket : answered_) ::shutdown(socket, SHUT_RDWR);
  }
  changed_.notify_all();
  if (wake_ >= 0) ::eventfd_write(wake_, 1);
  for (std::thread& thread : threads_) thread.join();
  for (const int socket : waiting_) ::close(socket);
  if (wake_ >= 0) ::close(wake_);
}

std::string Page::open(const std::string& address) {
  std::string fault = listener_.open(address);
  if (!fault.empty()) return fault;
  wake_ = ::eventfd(0, EFD_CLOEXEC);
  if (wake_ < 0) return std::strerror(errno);
  threads_.emplace_back([this] { accept(); });
  for (int i = 0; i < answeringThreads; ++i) threads_.emplace_back([this] { answer(); });
  return "";
}

void Page::accept() {
  Gate gate(
      listener_.sockets(), [this](int socket) { admit(socket); }, room);
  for (;;) {
    if (!gate.turn({wake_}, std::chrono::milliseconds(500))) return;
    const std::lock_guard lock(mutex_);
    if (isEnding_) return;
  }
}

/// Closes a connection where too many wait: the browser asks again.
void Page::admit(int socket) {
  const std::lock_guard lock(mutex_);
  if (waiting_.size() < mostWaiting) {
    waiting_.push_back(socket);
    changed_.notify_one();
  } else {
    ::close(socket);
  }
}

void Page::answer() {
  for (int socket = next(); socket >= 0; socket = next()) {
    server_.serve(socket, pageTime);
    leave(socket);
  }
}

/// The next connection with a request; -1 at the end.
int Page::next() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
  if (isEnding_) return -1;
  const int socket = waiting_.front();
  waiting_.pop_front();
  answered_.insert(socket);
  return socket;
}

void Page::leave(int socket) {
  ::shutdown(socket, SHUT_WR);
  const std::lock_guard lock(mutex_);
  answered_.erase(socket);
  ::close(socket);
}

}  // namespace service
