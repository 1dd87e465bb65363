// The one request with a caller's buffer.

#include "wire.h"

using wire::expectCompact;

namespace {

const auto batch = MqcFesIntf_ProcMqcBatchMsgSetIdl;

u32 batchSize(const MQC_BrkBatchMsg& record) {
  return wire::describe(batch).pack(nullptr, &record);
}

}  // namespace

TEST(Batch, Buffer) {
  const u8 sent[] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6};
  wire::Guarded seven(sent, 7);
  wire::Guarded three(sent, 3);
  const MQC_BrkBatchMsg all = {.f0 = 1, .f1 = 2, .f2 = 3, .f3_len = 7, .f3 = seven.data()};
  expectCompact(batch, all,
                "10000000 . 0C00 1F00 . 0400 0800 0C00 1000 . 0C000000 . 01000000 . 02000000 . "
                "03000000 . 04000000 . 07000000 A0A1A2A3A4A5A6");
  const MQC_BrkBatchMsg third = {.f2 = 9, .f3_len = 3, .f3 = three.data()};
  expectCompact(batch, third,
                "10000000 . 0C00 1300 . 0000 0000 0400 0800 . 0C000000 . 09000000 . 04000000 . "
                "03000000 A0A1A2");
}

TEST(Batch, NoBuffer) {
  wire::Guarded untouchable(nullptr, 0);
  const MQC_BrkBatchMsg none = {};
  const MQC_BrkBatchMsg noBytes = {.f3_len = 0, .f3 = untouchable.data()};
  const MQC_BrkBatchMsg noPointer = {.f3_len = 7, .f3 = nullptr};
  for (const MQC_BrkBatchMsg& record : {none, noBytes, noPointer}) {
    expectCompact(batch, record, "10000000 0C000400 8*00 0C000000");
  }
  EXPECT_EQ(20u, batchSize(none));
  EXPECT_EQ(28u, batchSize(noBytes));
  EXPECT_EQ(20u, batchSize(noPointer));
}

TEST(Batch, LongestSize) {
  const u8 byte = 0;
  EXPECT_EQ(4294967295u, batchSize({.f3_len = 4294967267, .f3 = &byte}));
  EXPECT_EQ(0u, batchSize({.f3_len = 4294967268, .f3 = &byte}));
  EXPECT_EQ(0u, batchSize({.f3_len = 4294967295, .f3 = &byte}));
  EXPECT_EQ(4294967295u, batchSize({.f0 = 1, .f1 = 2, .f2 = 3, .f3_len = 4294967255, .f3 = &byte}));
  EXPECT_EQ(0u, batchSize({.f0 = 1, .f1 = 2, .f2 = 3, .f3_len = 4294967256, .f3 = &byte}));
}

// The table size stays at its greatest while the buffer still goes out whole.
TEST(Batch, BufferPastTableSize) {
  struct {
    u32 length;
    const char* tableSize;
    const char* count;
  } const cases[] = {{65522, "FEFF", "F2FF0000"},
                     {65523, "FFFF", "F3FF0000"},
                     {65524, "FFFF", "F4FF0000"},
                     {131072, "FFFF", "00000200"}};
  for (const auto& [length, tableSize, count] : cases) {
    wire::Guarded bytes(length, 0x5A);
    bytes.data()[length - 1] = 0xA5;
    const MQC_BrkBatchMsg record = {.f3_len = length, .f3 = bytes.data()};
    expectCompact(batch, record,
                  std::string("10000000 . 0C00 ") + tableSize +
                      " . 0000 0000 0000 0400 . 0C000000 . 04000000 . " + count + " . " +
                      std::to_string(length - 1) + "*5A A5");
  }
}
