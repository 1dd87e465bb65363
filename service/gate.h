#ifndef SERVICE_GATE_H
#define SERVICE_GATE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <vector>

namespace service {

/// What a gate's connections may take.
struct Room {
  const char* what = "connection";  ///< what reports call one
  std::size_t silent = SIZE_MAX;    ///< how many may be silent at a time
  bool ofReserve = false;           ///< whether they may have half of the reserved descriptors
};

/// Accepts connections, and admits those whose peer has sent its first bytes: in HTTP/2 and TLS the
/// caller sends first. Some descriptors are reserved for other uses: when the others, or the places
/// for silent peers, run short, the peer that was silent longest is disconnected; without a silent
/// one, others wait for a place.
class Gate {
 public:
  /// The sockets listen and must outlive the gate. admit takes over a connection's socket.
  Gate(const std::vector<int>& listeners, std::function<void(int socket)> admit, Room room = {});
  ~Gate();
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  /// Waits at most that long for a connection, for bytes from a silent peer or for one of the
  /// others to be readable, and acts. Returns false, with a report, when no connection can be
  /// accepted any more.
  bool turn(std::initializer_list<int> others, std::chrono::milliseconds longest);

 private:
  using Clock = std::chrono::steady_clock;
  struct Silent {
    int socket;
    Clock::time_point since;
  };

  bool settle(const Silent& silent, bool mustGo);
  void hearAll();
  bool hasPlace() const;
  bool makePlace();
  bool accept(int listener);
  void pause(const char* reason);

  const std::vector<int>& listeners_;
  std::function<void(int)> admit_;
  Room room_;
  int ceiling_;                // descriptors from here on are not for connections
  std::deque<Silent> silent_;  // the oldest first
  Clock::time_point pausedUntil_{};
  Clock::time_point reportedUntil_{};
};

}  // namespace service

#endif
