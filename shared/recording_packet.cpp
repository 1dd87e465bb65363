#include "shared/recording_packet.h"

#include <algorithm>
#include <charconv>

namespace shared {
namespace {

constexpr u32 tagEnd = 0;
constexpr u32 tagDissector = 12;
constexpr u32 packetHeadSize = 16;

void storeLittleEndian(u8* at, u32 value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<u8>(value >> 8 * i);
}

void storeBigEndian(u8* at, u32 value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<u8>(value >> (24 - 8 * i));
}

char small(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

/// In small letters. As many as a name can have at once take a fraction of one after the other.
u8* addSmall(u8* at, std::string_view name) {
  std::array<char, longestName + 1> letters = {};
  const std::size_t size = name.copy(letters.data(), longestName);
  std::transform(letters.begin(), letters.end(), at, small);
  return at + size;
}

u8* addName(u8* at, const Dissector& dissector) {
  const auto& [method, suffix] = dissector;
  const std::string_view prefix = suffix.empty() ? "data" : "mqc_";
  at = addSmall(std::copy(prefix.begin(), prefix.end(), at), method);
  return std::copy(suffix.begin(), suffix.end(), at);
}

}  // namespace

u8* addWord(u8* at, std::string_view word) {
  at = std::copy_n(word.data(), std::min(word.size(), longestName), at);
  *at = ' ';
  return at + 1;
}

u8* addWord(u8* at, u64 number) {
  char* const digits = reinterpret_cast<char*>(at);
  char* const end = std::to_chars(digits, digits + 20, number).ptr;
  *end = ' ';
  return at + (end + 1 - digits);
}

PacketHead::PacketHead(const timespec& time, const Dissector& dissector) : size_(packetHeadSize) {
  storeLittleEndian(bytes_.data(), static_cast<u32>(time.tv_sec));
  storeLittleEndian(bytes_.data() + 4, static_cast<u32>(time.tv_nsec));
  endTag(tagDissector, addName(inTag(), dissector));
}

bool PacketHead::complete(std::span<const u8> message) {
  endTag(tagEnd, inTag());
  const u32 length = size_ - packetHeadSize + static_cast<u32>(message.size());
  storeLittleEndian(bytes_.data() + 8, length);
  storeLittleEndian(bytes_.data() + 12, length);
  if (message.size() > bytes_.size() - size_) return false;
  std::copy(message.begin(), message.end(), bytes_.data() + size_);
  size_ += static_cast<u32>(message.size());
  return true;
}

/// Its content is there already.
void PacketHead::endTag(u32 tag, u8* end) {
  while ((end - inTag()) % 4 != 0) *end++ = 0;
  const auto size = static_cast<u32>(end - inTag());
  storeBigEndian(bytes_.data() + size_, tag << 16 | size);
  size_ += tagHeadSize + size;
}

std::array<u8, 20> replyOf(u32 status) {
  // Root offset; 2 bytes of padding; vtable of one slot; the table, 6 bytes behind its vtable.
  std::array<u8, 20> reply = {12, 0, 0, 0, 0, 0, 6, 0, 8, 0, 4, 0, 6, 0, 0, 0};
  storeLittleEndian(reply.data() + 16, status);
  return reply;
}

}  // namespace shared
