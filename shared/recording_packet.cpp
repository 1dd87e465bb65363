#include "shared/recording_packet.h"

#include <algorithm>
#include <charconv>

namespace shared {
namespace {

constexpr u32 tagEnd = 0;
constexpr u32 tagDissector = 12;
constexpr u32 tagText = 33;  // shown in the column of protocols
constexpr u32 packetHeadSize = 16;

void storeLittleEndian(u8* at, u32 value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<u8>(value >> 8 * i);
}

void storeBigEndian(u8* at, u32 value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<u8>(value >> (24 - 8 * i));
}

/// Without a branch: methods' names have small and capital letters in turn.
u8 small(char letter) {
  const auto place = static_cast<u8>(letter - 'A');
  return static_cast<u8>(letter + (place < 26) * ('a' - 'A'));
}

std::size_t writeName(const Dissector& dissector, u8* at) {
  const auto& [method, suffix] = dissector;
  const std::string_view prefix = method.empty() ? "data" : "mqc_";
  u8* end = std::copy(prefix.begin(), prefix.end(), at);
  end = std::transform(method.data(), method.data() + std::min(method.size(), longestName), end,
                       small);
  end = std::copy(suffix.begin(), suffix.end(), end);
  return static_cast<std::size_t>(end - at);
}

}  // namespace

PacketText& PacketText::add(std::string_view word) {
  separate();
  end_ = std::copy_n(word.data(), std::min(word.size(), longestName), end_);
  return *this;
}

PacketText& PacketText::add(u64 number) {
  separate();
  char* const at = reinterpret_cast<char*>(end_);
  end_ += std::to_chars(at, at + 20, number).ptr - at;
  return *this;
}

void PacketText::separate() {
  *end_ = ' ';
  if (end_ > begin_) ++end_;
}

PacketHead::PacketHead(const timespec& time, const Dissector& dissector)
    : size_(packetHeadSize), text_(nullptr) {
  storeLittleEndian(bytes_.data(), static_cast<u32>(time.tv_sec));
  storeLittleEndian(bytes_.data() + 4, static_cast<u32>(time.tv_nsec));
  endTag(tagDissector, writeName(dissector, inTag()));
  text_ = PacketText(inTag());
}

bool PacketHead::complete(std::span<const u8> message) {
  endTag(tagText, text_.size());
  endTag(tagEnd, 0);
  const u32 length = size_ - packetHeadSize + static_cast<u32>(message.size());
  storeLittleEndian(bytes_.data() + 8, length);
  storeLittleEndian(bytes_.data() + 12, length);
  if (message.size() > bytes_.size() - size_) return false;
  std::copy(message.begin(), message.end(), bytes_.data() + size_);
  size_ += static_cast<u32>(message.size());
  return true;
}

/// Its content is there already.
void PacketHead::endTag(u32 tag, std::size_t size) {
  const auto padded = static_cast<u32>((size + 3) / 4 * 4);
  std::fill(inTag() + size, inTag() + padded, u8{0});
  storeBigEndian(bytes_.data() + size_, tag << 16 | padded);
  size_ += tagHeadSize + padded;
}

std::array<u8, 20> replyOf(u32 status) {
  // Root offset; 2 bytes of padding; vtable of one slot; the table, 6 bytes behind its vtable.
  std::array<u8, 20> reply = {12, 0, 0, 0, 0, 0, 6, 0, 8, 0, 4, 0, 6, 0, 0, 0};
  storeLittleEndian(reply.data() + 16, status);
  return reply;
}

}  // namespace shared
