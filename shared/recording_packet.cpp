#include "shared/recording_packet.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace shared {
namespace {

constexpr u32 tagEnd = 0;
constexpr u32 tagDissector = 12;
constexpr u32 tagText = 33;  // shown in the column of protocols
constexpr u32 packetHeadSize = 16;

void storeLittleEndian(u8* at, u32 value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<u8>(value >> 8 * i);
}

char small(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

}  // namespace

PacketText& PacketText::add(std::string_view word) {
  if (size_ > 0) text_[size_++] = ' ';
  const std::size_t length = std::min(word.size(), longestName);
  std::memcpy(text_.data() + size_, word.data(), length);
  size_ += length;
  return *this;
}

PacketText& PacketText::add(u64 number) {
  char digits[20];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  return add({digits, static_cast<std::size_t>(end - digits)});
}

PacketHead::PacketHead(const timespec& time, std::string_view dissector, const PacketText& text)
    : size_(packetHeadSize) {
  storeLittleEndian(bytes_.data(), static_cast<u32>(time.tv_sec));
  storeLittleEndian(bytes_.data() + 4, static_cast<u32>(time.tv_nsec));
  addTag(tagDissector, dissector);
  addTag(tagText, text.view());
  addBigEndian(tagEnd);
}

bool PacketHead::complete(std::span<const u8> message) {
  const u32 length = size_ - packetHeadSize + static_cast<u32>(message.size());
  storeLittleEndian(bytes_.data() + 8, length);
  storeLittleEndian(bytes_.data() + 12, length);
  if (message.size() > bytes_.size() - size_) return false;
  std::copy(message.begin(), message.end(), bytes_.data() + size_);
  size_ += static_cast<u32>(message.size());
  return true;
}

void PacketHead::addTag(u32 tag, std::string_view text) {
  const auto padded = static_cast<u32>((text.size() + 3) / 4 * 4);
  addBigEndian(tag << 16 | padded);
  if (padded > 0) std::memset(bytes_.data() + size_ + padded - 4, 0, 4);
  std::memcpy(bytes_.data() + size_, text.data(), text.size());
  size_ += padded;
}

void PacketHead::addBigEndian(u32 value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes_[size_++] = static_cast<u8>(value >> shift);
}

DissectorName::DissectorName(std::string_view method, std::string_view suffix) {
  const std::string_view prefix = "mqc_";
  const std::size_t length = std::min(method.size(), longestName);
  char* end = std::copy(prefix.begin(), prefix.end(), text_.data());
  end = std::transform(method.data(), method.data() + length, end, small);
  end = std::copy(suffix.begin(), suffix.end(), end);
  size_ = static_cast<std::size_t>(end - text_.data());
}

std::array<u8, 20> replyOf(u32 status) {
  // Root offset; 2 bytes of padding; vtable of one slot; the table, 6 bytes behind its vtable.
  std::array<u8, 20> reply = {12, 0, 0, 0, 0, 0, 6, 0, 8, 0, 4, 0, 6, 0, 0, 0};
  storeLittleEndian(reply.data() + 16, status);
  return reply;
}

}  // namespace shared
