#ifndef TESTS_RECORD_READING_H
#define TESTS_RECORD_READING_H

// Reads recordings, as strictly as they are written.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "mqc_fes_intf.h"

namespace fs = std::filesystem;
using Bytes = std::vector<u8>;

struct Packet {
  u64 nanoseconds;
  std::string dissector, text;
  Bytes message;

  std::string word(int index) const {
    std::istringstream words(text);
    std::string word;
    for (int i = 0; i <= index; ++i) words >> word;
    return word;
  }
  std::string kind() const { return word(0); }
  u64 number() const { return std::stoull(word(1)); }
  std::string last() const { return text.substr(text.rfind(' ') + 1); }
};

inline Bytes contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  Bytes bytes(file ? fs::file_size(path) : 0);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

/// Numbers of the recording, which lie in either order of bytes.
inline u32 littleEndian(const u8* at) {
  return u32{at[0]} | u32{at[1]} << 8 | u32{at[2]} << 16 | u32{at[3]} << 24;
}
inline u32 bigEndian(const u8* at) {
  return u32{at[0]} << 8 | at[1];
}

/// The next tag's text, which zeros may follow.
inline std::string takeTag(const u8*& at, u32 tag) {
  const u32 size = bigEndian(at + 2);
  EXPECT_EQ(bigEndian(at), tag);
  EXPECT_EQ(size % 4, 0u);
  const std::string text(reinterpret_cast<const char*>(at) + 4, size);
  at += 4 + size;
  return text.substr(0, text.find('\0'));
}

inline Packet packetAt(const u8* head, const u8* end) {
  const u8* at = head + 16;
  Packet packet{littleEndian(head) * u64{1'000'000'000} + littleEndian(head + 4), {}, {}, {}};
  packet.dissector = takeTag(at, 12);
  packet.text = takeTag(at, 33);
  takeTag(at, 0);
  packet.message.assign(at, end);
  return packet;
}

/// The packets of a file, which must be whole.
inline std::vector<Packet> packetsOf(const fs::path& path) {
  constexpr u32 fileHead = 24, packetHead = 16;
  const Bytes bytes = contents(path);
  std::vector<Packet> packets;
  EXPECT_GE(bytes.size(), fileHead) << path;
  for (std::size_t at = fileHead; at < bytes.size();) {
    const std::size_t body = at + packetHead;
    const u32 size = body <= bytes.size() ? littleEndian(&bytes[at + 8]) : 0;
    if (size < 12 || size > 262'144 || body + size > bytes.size()) {
      ADD_FAILURE() << path << ": no whole packet at " << at << " of " << bytes.size();
      break;
    }
    EXPECT_EQ(littleEndian(&bytes[at + 12]), size);
    packets.push_back(packetAt(&bytes[at], bytes.data() + body + size));
    at = body + size;
  }
  return packets;
}

#endif
