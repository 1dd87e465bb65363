#include "service/output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <new>
#include <thread>

#include "shared/report.h"

namespace service {
namespace {

constexpr std::size_t longestQueue = std::size_t{8} << 20;

std::uint64_t linesIn(std::string_view text) {
  return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

/// Returns the number of bytes written, -1 when writing fails.
ssize_t writeSome(int descriptor, std::string_view text) {
  for (;;) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written >= 0 || (errno != EINTR && errno != EAGAIN)) return written;
    pollfd room{descriptor, POLLOUT, 0};
    if (errno == EAGAIN) ::poll(&room, 1, -1);
  }
}

}  // namespace

struct Output::State {
  int descriptor = -1;
  std::mutex mutex;  // guards what follows
  std::condition_variable changed;
  std::string queued;
  std::string writing;      // its text is the thread's while it is written
  std::size_t written = 0;  // of it
  std::uint64_t dropped = 0;
  std::uint64_t lost = 0;  // dropped ones included
  bool ending = false;
  bool ended = false;
  bool tornLine = false;  // the thread's

  void append(std::string_view line);
  void write(std::unique_lock<std::mutex>& lock);
  void run();
};

void Output::State::append(std::string_view line) {
  constexpr std::size_t notice = 128;
  queued.reserve(queued.size() + line.size() + notice);  // all of it is added, or nothing
  if (dropped > 0) {
    queued.append(shared::reporter).append(": ").append(std::to_string(dropped));
    queued.append(" lines are missing here: they were not read in time\n");
  }
  dropped = 0;
  queued.append(line).append(1, '\n');
  changed.notify_all();
}

/// Writes what is queued; what cannot be written is lost.
void Output::State::write(std::unique_lock<std::mutex>& lock) {
  writing.swap(queued);
  lock.unlock();
  if (tornLine) writeSome(descriptor, "\n");
  lock.lock();
  while (written < writing.size()) {
    const std::string_view rest = std::string_view(writing).substr(written);
    lock.unlock();
    const ssize_t some = writeSome(descriptor, rest);
    lock.lock();
    if (some < 0) break;
    written += static_cast<std::size_t>(some);
  }
  lost += linesIn(std::string_view(writing).substr(written));
  tornLine = written > 0 && writing[written - 1] != '\n';
  writing.clear();
  written = 0;
}

void Output::State::run() {
  std::unique_lock lock(mutex);
  for (;;) {
    changed.wait(lock, [this] { return ending || !queued.empty(); });
    if (queued.empty()) break;
    write(lock);
  }
  ended = true;
  changed.notify_all();
}

Output::Output(int descriptor) : state_(std::make_shared<State>()) {
  state_->descriptor = descriptor;
  std::thread([state = state_] { state->run(); }).detach();
}

Output::~Output() {
  finish({});
}

void Output::add(std::string_view line) noexcept {
  const std::lock_guard lock(state_->mutex);
  try {
    if (state_->queued.size() + line.size() < longestQueue) return state_->append(line);
  } catch (const std::bad_alloc&) {
    // Dropped.
  }
  ++state_->dropped;
  ++state_->lost;
}

void Output::addLast(std::string_view lines) {
  const std::lock_guard lock(state_->mutex);
  state_->append(lines);
}

std::uint64_t Output::finish(std::chrono::milliseconds patience) {
  State& state = *state_;
  std::unique_lock lock(state.mutex);
  state.ending = true;
  state.changed.notify_all();
  state.changed.wait_for(lock, patience, [&state] { return state.ended; });
  return state.lost + linesIn(state.queued) +
         linesIn(std::string_view(state.writing).substr(state.written));
}

}  // namespace service
