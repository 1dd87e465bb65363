// One digest over everything that the encoders say about a fixed set of records of all methods.
// It is the same on every machine: the host's byte order, word size and compiler leave no trace.

#include <gtest/gtest.h>

#include "records.h"

namespace {

class Digest {
 public:
  void add(const u8* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) value = (value ^ bytes[i]) * 0x100000001B3;
  }
  void add(u32 word) {
    for (u32 i = 0; i < 4; ++i) value = (value ^ (word >> 8 * i & 0xFF)) * 0x100000001B3;
  }

  u64 value = 0xCBF29CE484222325;
};

/// Bytes that the full encoding leaves open count as zero.
void addEncodings(Digest& digest, const IdlMsgDesc& desc, const u8* record) {
  u32 capacity = desc.pack(nullptr, record);
  std::vector<u8> bytes(capacity);
  PackBuf cursor = {bytes.data(), &capacity};
  const u32 length = desc.pack(&cursor, record);
  digest.add(capacity);
  digest.add(length);
  digest.add(bytes.data(), length);
  if (desc.packFull == nullptr) return;
  bytes.assign(desc.fullSize(), 0);
  digest.add(desc.fullSize());
  digest.add(desc.packFull(bytes.data(), record));
  digest.add(bytes.data(), bytes.size());
}

TEST(Digest, SameOnEveryMachine) {
  Digest digest;
  u64 seed = 0;
  for (const Method& method : methods) {
    records::Maker maker(method, ++seed);
    IdlMsgDesc desc;
    method.setIdl(&desc);
    for (u64 k = 0; k < 1000; ++k) addEncodings(digest, desc, maker.make(maker.presence(k * 331)));
  }
  EXPECT_EQ(0x970B882A7328B15Cu, digest.value) << std::hex << digest.value;
}

}  // namespace
