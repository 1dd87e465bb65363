#ifndef SHARED_RECORDING_PACKET_H
#define SHARED_RECORDING_PACKET_H

// The bytes of a recording; docs/recording.md describes them. Fixed memory, the C library alone.

#include <array>
#include <cstddef>
#include <ctime>
#include <span>
#include <string_view>

#include "mqc_fes_intf.h"

namespace shared {

/// The longest packet, in bytes: Wireshark refuses a file with a longer one.
inline constexpr u32 longestPacket = 262'144;
/// Characters of a name that are kept.
inline constexpr std::size_t longestName = 63;

/// A packet's line of text: words and decimal numbers with a space between them.
class PacketText {
 public:
  PacketText& add(std::string_view word);
  PacketText& add(u64 number);
  std::string_view view() const { return {text_.data(), size_}; }

 private:
  std::array<char, 256> text_;
  std::size_t size_ = 0;
};

/// What stands in front of a packet's message: time and lengths, dissector and text.
class PacketHead {
 public:
  PacketHead(const timespec& time, std::string_view dissector, const PacketText& text);
  /// Completes the head for that message, and takes the message in if there is room.
  bool complete(std::span<const u8> message);
  /// The most bytes of a head.
  static constexpr u32 most = 512;

  std::span<const u8> bytes() const { return {bytes_.data(), size_}; }

 private:
  void addTag(u32 tag, std::string_view text);
  void addBigEndian(u32 value);

  std::array<u8, most> bytes_;
  u32 size_;
};

/// The dissector of a method's messages: mqc_, the method in small letters, the suffix.
class DissectorName {
 public:
  DissectorName(std::string_view method, std::string_view suffix);
  operator std::string_view() const { return {text_.data(), size_}; }

 private:
  std::array<char, 128> text_;
  std::size_t size_ = 0;
};

/// What each file begins with.
inline constexpr std::array<u8, 24> recordingHead = {0x4D, 0x3C, 0xB2, 0xA1, 2,   0, 4, 0,  //
                                                     0,    0,    0,    0,    0,   0, 0, 0,  //
                                                     0,    0,    4,    0,    252, 0, 0, 0};

/// A reply with that status, as a service would send it.
std::array<u8, 20> replyOf(u32 status);

}  // namespace shared

#endif
