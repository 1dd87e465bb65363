// The functions of the shared nested tables, called as the encoders of requests call them.

#include "codec/shared_tables.h"

#include "wire.h"

namespace {

/// Packs the nested table at a start inside an outer encoding and expects the bytes there, nothing
/// written before them, the end in cur and the table's position returned.
template <class Record>
void expectNested(u32 (*pack)(PackPos*, const Record*), const Record& record, u32 start,
                  u32 tableStart, const std::string& text) {
  const std::string expected = wire::expand(std::to_string(start) + "*-- " + text);
  const std::size_t end = expected.size() / 3;
  wire::Guarded over00(end, 0x00);
  wire::Guarded overFF(end, 0xFF);
  for (wire::Guarded* out : {&over00, &overFF}) {
    PackPos pos = {out->data(), out->data() + start};
    EXPECT_EQ(tableStart, pack(&pos, &record));
    EXPECT_EQ(out->data(), pos.base);
    EXPECT_EQ(out->data() + end, pos.cur);
  }
  EXPECT_EQ(expected, wire::show(over00.bytes(), overFF.bytes()));
}

template <class Record>
void expectBlock(u32 (*packFull)(u8*, const Record*), const Record& record,
                 const std::string& text) {
  const std::string expected = wire::expand(text);
  wire::Guarded over00(expected.size() / 3, 0x00);
  wire::Guarded overFF(expected.size() / 3, 0xFF);
  EXPECT_EQ(0u, packFull(over00.data(), &record));
  EXPECT_EQ(0u, packFull(overFF.data(), &record));
  EXPECT_EQ(expected, wire::show(over00.bytes(), overFF.bytes()));
}

}  // namespace

TEST(SharedTables, RuleHead) {
  const MqcRuleHead record = {.f0 = 1, .f2 = 3, .f5 = 6};
  const std::string nested =
      "1000 . 1000 . 04000000 08000000 00000C00 . 10000000 . 01000000 . 03000000 . 06000000";
  expectNested(MqcRuleHead_pack, record, 0, 16, nested);
  expectNested(MqcRuleHead_pack, record, 53, 69, nested);
  expectNested(MqcRuleHead_pack, record, 70000, 70016, nested);
  expectNested(MqcRuleHead_pack, MqcRuleHead{}, 7, 23, "10000400 12*00 10000000");
  expectBlock(MqcRuleHead_packFull, record,
              "04000000 . E4FFFFFF . 01000000 . 00000000 . 03000000 . 00000000 . 00000000 . "
              "06000000 . 10001C00 04000800 0C001000 14001800");
}

TEST(SharedTables, ActHead) {
  const MqcActHead record = {.f1 = 2};
  const std::string nested = "0A00 . 0800 . 00000400 0000 . 0A000000 . 02000000";
  expectNested(MqcActHead_pack, record, 0, 10, nested);
  expectNested(MqcActHead_pack, record, 75, 85, nested);
  expectNested(MqcActHead_pack, record, 70000, 70010, nested);
  expectNested(MqcActHead_pack, MqcActHead{}, 7, 17, "0A000400 6*00 0A000000");
  expectBlock(MqcActHead_packFull, record,
              "04000000 . F0FFFFFF . 00000000 . 02000000 . 00000000 . 0A001000 04000800 0C00 . "
              "2*--");
}

TEST(SharedTables, Bytes16) {
  const MqcBytes16 record = {.f0 = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}};
  expectBlock(MqcBytes16_packFull, record,
              "04000000 . E4FFFFFF . 04000000 . 10000000 . 00010203 04050607 08090A0B 0C0D0E0F . "
              "06001C00 0400 . 2*--");
}
