#include "service/complaints.h"

#include <sys/eventfd.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <utility>
#include <vector>

#include "service/listener.h"
#include "service/timing.h"
#include "shared/grpc_errors.h"
#include "shared/report.h"

namespace service {
namespace {

using Clock = std::chrono::steady_clock;
using shared::report;

/// A connection whose handshake may be in progress.
struct Young {
  int socket;
  ino_t inode;
  Clock::time_point since;
  std::string peer;
};

std::mutex mutex;  // guards what follows
std::string first;
std::vector<Young> handshakes;
std::vector<std::string> waiting;  // complaints of handshakes
std::vector<std::string> ended;    // peers whose connections ended since the first of these
Clock::time_point waitingSince;

std::atomic<int> bell = -1;  // written to for each complaint, once they are reported

ino_t inodeOf(int socket) {
  struct stat found {};
  return ::fstat(socket, &found) == 0 && S_ISSOCK(found.st_mode) ? found.st_ino : 0;
}

/// Drops connections whose handshake is over. With the mutex held.
void sweep() {
  const Clock::time_point now = Clock::now();
  const auto isOver = [now](const Young& young) {
    const bool isClosed = inodeOf(young.socket) != young.inode;
    if (isClosed && !waiting.empty()) ended.push_back(young.peer);
    return isClosed || now - young.since > handshakeTime + std::chrono::seconds(2);
  };
  handshakes.erase(std::remove_if(handshakes.begin(), handshakes.end(), isOver), handshakes.end());
}

void onComplaint(std::string_view, std::string_view text) {
  const std::lock_guard lock(mutex);
  if (bell < 0) {
    if (first.empty()) first = text;
    return;
  }
  if (text.rfind("Handshake failed", 0) != 0) {
    if (!shared::isRepeated(text)) report("%.*s", static_cast<int>(text.size()), text.data());
    return;
  }
  sweep();  // gRPC closes a connection after its complaint
  if (waiting.empty()) waitingSince = Clock::now();
  waiting.emplace_back(text);
  ::eventfd_write(bell, 1);
}

}  // namespace

void hearComplaints() {
  shared::hearGrpcErrors(onComplaint);
}

std::string firstComplaint() {
  const std::lock_guard lock(mutex);
  return std::exchange(first, "");
}

int reportComplaints() {
  return bell = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}

void noteHandshake(int socket) {
  std::string peer = peerOf(socket);
  const std::lock_guard lock(mutex);
  sweep();
  handshakes.push_back({socket, inodeOf(socket), Clock::now(), std::move(peer)});
}

bool nameComplaints() {
  const std::lock_guard lock(mutex);
  eventfd_t rung = 0;
  ::eventfd_read(bell, &rung);
  if (waiting.empty()) return false;
  sweep();
  if (ended.empty() && Clock::now() - waitingSince < std::chrono::seconds(1)) return true;
  std::string peers;
  for (const std::string& peer : ended) peers += (peers.empty() ? "" : " or ") + peer;
  if (peers.empty()) peers = "a peer";
  for (const std::string& text : waiting) report("%s: %s", peers.c_str(), text.c_str());
  waiting.clear();
  ended.clear();
  return false;
}

}  // namespace service
