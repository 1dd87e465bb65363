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

/// Writes a word, of which as many characters as of a name are kept, or a decimal number, and a
/// space; returns where the next one goes.
u8* addWord(u8* at, std::string_view word);
u8* addWord(u8* at, u64 number);

/// Writes a line of text, words and numbers with a space between them, and one byte more; returns
/// the text's end.
template <class... Words>
u8* addText(u8* at, const Words&... words) {
  ((at = addWord(at, words)), ...);
  return at - 1;
}

/// Who shows a packet's message: the dissector of a method's messages, mqc_, the method in small
/// letters and the suffix; without a suffix, the one for any bytes.
struct Dissector {
  std::string_view method = {};
  std::string_view suffix = {};
};

/// A packet in the making, all but a message that has no room in it: time and lengths, dissector,
/// text.
class PacketHead {
 public:
  PacketHead(const timespec& time, const Dissector& dissector);
  PacketHead(const PacketHead&) = delete;
  PacketHead& operator=(const PacketHead&) = delete;

  /// Once, before the packet is completed.
  template <class... Words>
  void setText(const Words&... words) {
    endTag(tagText, addText(inTag(), words...));
  }
  /// Completes the packet for that message, and takes the message in if there is room.
  bool complete(std::span<const u8> message);
  /// The most bytes of a head.
  static constexpr u32 most = 512;

  std::span<const u8> bytes() const { return {bytes_.data(), size_}; }

 private:
  static constexpr u32 tagHeadSize = 4;
  static constexpr u32 tagText = 33;  // shown in the column of protocols

  u8* inTag() { return bytes_.data() + size_ + tagHeadSize; }
  void endTag(u32 tag, u8* end);

  std::array<u8, most> bytes_;  // not filled with zeros, which would take longer than all else
  u32 size_;
};

/// What each file begins with.
inline constexpr std::array<u8, 24> recordingHead = {0x4D, 0x3C, 0xB2, 0xA1, 2,   0, 4, 0,  //
                                                     0,    0,    0,    0,    0,   0, 0, 0,  //
                                                     0,    0,    4,    0,    252, 0, 0, 0};

/// A reply with that status, as a service would send it.
std::array<u8, 20> replyOf(u32 status);

}  // namespace shared

#endif
