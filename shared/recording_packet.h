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

/// A line of text in the making: words and decimal numbers with a space between them, at a place
/// which has room for it. Of a word, as many characters as of a name are kept.
class PacketText {
 public:
  explicit PacketText(u8* at) : begin_(at), end_(at) {}
  PacketText& add(std::string_view word);
  PacketText& add(u64 number);
  std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }

 private:
  void separate();

  u8* begin_;
  u8* end_;
};

/// Who shows a packet's message: the dissector of a method's messages, mqc_, the method in small
/// letters and the suffix; without a method, the one for any bytes.
struct Dissector {
  std::string_view method = {};
  std::string_view suffix = {};
};

/// A packet in the making, all but a message that has no room in it: time and lengths, dissector,
/// text. The text is added by its user, before the packet is completed.
class PacketHead {
 public:
  PacketHead(const timespec& time, const Dissector& dissector);
  PacketHead(const PacketHead&) = delete;
  PacketHead& operator=(const PacketHead&) = delete;

  PacketText& text() { return text_; }
  /// Completes the packet for that message, and takes the message in if there is room.
  bool complete(std::span<const u8> message);
  /// The most bytes of a head.
  static constexpr u32 most = 512;

  std::span<const u8> bytes() const { return {bytes_.data(), size_}; }

 private:
  static constexpr u32 tagHeadSize = 4;

  u8* inTag() { return bytes_.data() + size_ + tagHeadSize; }
  void endTag(u32 tag, std::size_t size);

  std::array<u8, most> bytes_;  // not filled with zeros, which would take longer than all else
  u32 size_;
  PacketText text_;
};

/// What each file begins with.
inline constexpr std::array<u8, 24> recordingHead = {0x4D, 0x3C, 0xB2, 0xA1, 2,   0, 4, 0,  //
                                                     0,    0,    0,    0,    0,   0, 0, 0,  //
                                                     0,    0,    4,    0,    252, 0, 0, 0};

/// A reply with that status, as a service would send it.
std::array<u8, 20> replyOf(u32 status);

}  // namespace shared

#endif
