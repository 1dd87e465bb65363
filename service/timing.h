#ifndef SERVICE_TIMING_H
#define SERVICE_TIMING_H

#include <chrono>

namespace service {

/// How long a connection may be silent before its first byte, and how long its handshakes take.
inline constexpr std::chrono::seconds handshakeTime{5};
/// After how much silence a peer is pinged, and how long it has to answer.
inline constexpr std::chrono::seconds keepaliveTime{60};
inline constexpr std::chrono::seconds keepaliveTimeout{20};
/// How long a connection is kept, and how long calls in progress at its end have.
inline constexpr std::chrono::minutes connectionAge{5};
inline constexpr std::chrono::seconds connectionGrace{30};
/// How long a browser has to send a request of the page and to read the answer.
inline constexpr std::chrono::seconds pageTime{5};
/// How often certificate files are read.
inline constexpr std::chrono::seconds watchTime{1};
/// How long calls in progress have at the service's end, and how long unread output has.
inline constexpr std::chrono::seconds endTime{1};
/// The same where late answers are all sent at once: a busy machine is slow to write them.
inline constexpr std::chrono::seconds lateEndTime{5};
inline constexpr std::chrono::seconds outputTime{3};

}  // namespace service

#endif
