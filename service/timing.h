#ifndef SERVICE_TIMING_H
#define SERVICE_TIMING_H

#include <chrono>

namespace service {

/// How long a connection may be silent before its first byte, and how long its handshakes take.
inline constexpr std::chrono::seconds handshakeTime{5};
/// After this long without a word, a peer is asked whether it is there, and has that long to
/// answer.
inline constexpr std::chrono::seconds keepaliveTime{60};
inline constexpr std::chrono::seconds keepaliveTimeout{20};
/// How long a connection is kept, and how long calls have that are under way at its end.
inline constexpr std::chrono::minutes connectionAge{5};
inline constexpr std::chrono::seconds connectionGrace{30};
/// How often files of certificates are looked at.
inline constexpr std::chrono::seconds watchTime{1};
/// How long calls under way have at the end, and how long output that nobody reads.
inline constexpr std::chrono::seconds endTime{1};
inline constexpr std::chrono::seconds outputTime{3};

}  // namespace service

#endif
