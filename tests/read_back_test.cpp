// Every method's records, in both encodings, read back through the FlatBuffers library.

#include "read_back.h"

#include <gtest/gtest.h>

namespace {

using records::Maker;
using records::Word;

std::string hex(const u8* bytes, std::size_t size) {
  std::string text;
  char pair[3];
  for (std::size_t i = 0; i < size; ++i) {
    std::snprintf(pair, sizeof pair, "%02X", bytes[i]);
    text += pair;
  }
  return text;
}

class ReadBack : public testing::TestWithParam<Method> {
 protected:
  static constexpr u64 seed = 0x4D5143;

  void expectReadsBack(const u8* record) {
    const std::string error = check(record);
    ASSERT_EQ("", error) << "seed " << seed << ", record " << hex(record, GetParam().recordSize);
  }

  Maker maker{GetParam(), seed};
  const read_back::Check check{GetParam()};
};

TEST_P(ReadBack, AllPresencePatternsOrManyRandomOnes) {
  const std::size_t scalars = maker.values.scalars.size();
  ASSERT_LE(scalars, 64u);
  const u64 count = scalars > 16 ? 20'000 : std::max<u64>(u64{1} << scalars, 1024);
  for (u64 k = 0; k < count; ++k) {
    ASSERT_NO_FATAL_FAILURE(expectReadsBack(maker.make(maker.presence(k)))) << "number " << k;
  }
}

TEST_P(ReadBack, EachByteOfEachScalarAlone) {
  u8* const record = maker.make(0);
  for (const auto [offset, width] : maker.values.scalars) {
    for (u32 i = 0; i < width; ++i) {
      for (const u32 byte : {0x01u, 0x80u, 0xFFu}) {
        records::storeWord(record + offset, width, byte << 8 * i);
        ASSERT_NO_FATAL_FAILURE(expectReadsBack(record));
      }
    }
    records::storeWord(record + offset, width, 0);
  }
}

// The reader is trusted only because it notices any byte that is not what it has to be.
TEST_P(ReadBack, NoticesEachWrongByte) {
  const IdlMsgDesc& desc = check.desc();
  const u8* const record = maker.make(0x5555555555555555);
  u32 length = desc.pack(nullptr, record);
  std::vector<u8> bytes(length);
  PackBuf cursor = {bytes.data(), &length};
  bytes.resize(desc.pack(&cursor, record));
  using read_back::Reader;
  ASSERT_EQ("", Reader(bytes, bytes).compact(*GetParam().table, record));
  for (u8& byte : bytes) {
    for (const u8 flip : {u8{0x01}, u8{0x80}, u8{0xFF}}) {
      byte ^= flip;
      EXPECT_NE("", Reader(bytes, bytes).compact(*GetParam().table, record)) << &byte - &bytes[0];
      byte ^= flip;
    }
  }
  if (desc.packFull == nullptr) return;
  std::vector<u8> over00(desc.fullSize(), 0x00);
  std::vector<u8> overFF(desc.fullSize(), 0xFF);
  desc.packFull(over00.data(), record);
  desc.packFull(overFF.data(), record);
  ASSERT_EQ("", Reader(over00, overFF).full(*GetParam().table, record));
  for (std::size_t i = 0; i < over00.size(); ++i) {
    over00[i] ^= 0x40;
    overFF[i] ^= 0x40;
    EXPECT_NE("", Reader(over00, overFF).full(*GetParam().table, record)) << i;
    over00[i] ^= 0x40;
    overFF[i] ^= 0x40;
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, ReadBack, testing::ValuesIn(methods),
                         [](const auto& test) { return test.param.name; });

// From 65,511 bytes with all scalars, and from 65,523 with none, the table outgrows what its 16
// bits can tell.
TEST(ReadBackBatch, BuffersOfAllLengths) {
  const Method& method = *std::ranges::find(methods, &MQC_BrkBatchMsg_table, &Method::table);
  const read_back::Check check(method);
  std::vector<u32> lengths = {0, 1, 2, 3, 255, 256, 32'767, 32'768, 70'000, 1u << 20};
  for (u32 length = 65'500; length < 65'550; ++length) lengths.push_back(length);
  records::Random random(7);
  for (const u32 length : lengths) {
    std::vector<u8> bytes(length);
    for (u8& byte : bytes) byte = static_cast<u8>(random.next());
    u8 none;
    for (u32 presence = 0; presence < 8; ++presence) {
      const MQC_BrkBatchMsg record = {presence & 1, presence & 2, presence & 4, length,
                                      length == 0 ? &none : bytes.data()};
      ASSERT_EQ("", check(reinterpret_cast<const u8*>(&record))) << length << ", " << presence;
    }
  }
}

}  // namespace
