// One digest over everything that the encoders say about a fixed set of records of all methods.
// It is the same on every machine: the host's byte order, word size and compiler leave no trace.
// Several threads make it at once of the same records, with parameter errors between.

#include <gtest/gtest.h>

#include <deque>
#include <thread>

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

/// A method's maker, which owns what its records lend, and the records.
struct Records {
  records::Maker maker;
  std::vector<std::vector<u8>> all;
};

u64 digestOf(const std::deque<Records>& made) {
  Digest digest;
  for (const Method& method : methods) {
    IdlMsgDesc desc;
    method.setIdl(&desc);
    PackBuf nowhere = {nullptr, nullptr};
    EXPECT_EQ(0u, desc.pack(&nowhere, nullptr));
    for (const std::vector<u8>& record : made[static_cast<std::size_t>(&method - methods)].all) {
      addEncodings(digest, desc, record.data());
    }
  }
  return digest.value;
}

TEST(Digest, SameOnEveryMachineAndThread) {
  std::deque<Records> made;
  for (const Method& method : methods) {
    auto& [maker, all] = made.emplace_back(Records{{method, made.size() + 1}, {}});
    for (u64 k = 0; k < 1000; ++k) {
      const u8* const record = maker.make(maker.presence(k * 331));
      all.emplace_back(record, record + method.recordSize);
    }
  }
  u64 digests[4] = {};
  std::vector<std::thread> threads;
  for (u64& digest : digests) threads.emplace_back([&] { digest = digestOf(made); });
  for (std::thread& thread : threads) thread.join();
  for (const u64 digest : digests) {
    EXPECT_EQ(0x970B882A7328B15Cu, digest) << "after a wanted change this is the digest: 0x"
                                           << std::hex << std::uppercase << digest << 'u';
  }
}

}  // namespace
