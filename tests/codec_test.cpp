// The codec beyond what the messages need, and the byte order other than the host's.

#include <gtest/gtest.h>

#include "codec/shared_tables.h"
#include "methods/describe.h"
#include "wire.h"

namespace sample {

struct Inner {
  u16 f0;
  u8 f1[3];
};

struct Outer {
  u8 f0;
  Inner f1[2];
  u16 f2[2];
  Inner f3;
  u32 f4;
  u8 f5;
};

struct Lent {
  u8 f0;
  MqcRuleHead f1;
  Inner f2[2];
  MqcBytes16 f3[2];
  MqcActHead f4;
  u32 f5_len;
  const u8* f5;
};

struct LongTable {
  u16 f0;
  u8 f1[65521];
};

}  // namespace sample

SLOTS(sample::Inner, SLOT(f0), SLOT(f1))
SLOTS(sample::Outer, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
SLOTS(sample::Lent, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), BUFFER(f5_len, f5))
SLOTS(sample::LongTable, SLOT(f0), SLOT(f1))

namespace {

template <class Record>
void setIdl(IdlMsgDesc* desc) {
  using List = codec::ListOf<Record>;
  *desc = {};
  desc->pack = [](PackBuf* cursor, const void* req) {
    const u8* const record = static_cast<const u8*>(req);
    return cursor == nullptr ? codec::compactSize<List>(record)
                             : codec::packMessage<List>(cursor->buf, record);
  };
  if constexpr (!List::hasBuffer) {
    desc->packFull = codec::packFull<List>;
    desc->fullSize = [] { return u32{codec::Layout<List>::fullSize}; };
  }
}

/// Encodes a record, expects what the model says and returns what was written.
template <class Record>
std::pair<model::Picture, model::Picture> encoded(const Record& record) {
  wire::Encoders encoders(methods::Described<Record>::table, setIdl<Record>);
  EXPECT_EQ("", encoders.check(reinterpret_cast<const u8*>(&record)));
  return {encoders.compact, encoders.full};
}

}  // namespace

// Element tables differ in length with their values; a nested table follows them all. In the full
// encoding one whose size is not a multiple of 4 has its vtable behind a gap, as a message has.
TEST(Codec, EveryKindAsWorkedByHand) {
  const sample::Outer record = {.f0 = 0,
                                .f1 = {{0x0102, {1, 2, 3}}, {0, {4, 5, 6}}},
                                .f2 = {0xA1A2, 0xB1B2},
                                .f3 = {0x0304, {7, 8, 9}},
                                .f4 = 0x11223344,
                                .f5 = 9};
  const auto [compact, full] = encoded(record);
  EXPECT_EQ(wire::expand("14000000 . 1000 2900 . 0000 0900 0D00 1100 0400 0800 . 10000000 . "
                         "44332211 09 . 0C000000 . 14000000 . 50000000 . "
                         "02000000 18000000 2D000000 . 02000000 A2A1 B2B1 . "
                         "0800 1100 0400 0600 . 08000000 . 0201 . 04000000 . 03000000 010203 . "
                         "0800 0F00 0000 0400 . 08000000 . 04000000 . 03000000 040506 . "
                         "0800 1100 0400 0600 . 08000000 . 0403 . 04000000 . 03000000 070809"),
            compact);
  const std::string vtable = "3*-- . 0800 1100 0400 0600 . ";
  EXPECT_EQ(wire::expand("04000000 . 78FFFFFF . 00 . 04000000 02000000 . 0C000000 28000000 . " +
                         ("04000000 ECFFFFFF 0201 04000000 03000000 010203 " + vtable) +
                         ("04000000 ECFFFFFF 0000 04000000 03000000 040506 " + vtable) +
                         "04000000 02000000 A2A1 B2B1 . " +
                         ("04000000 ECFFFFFF 0403 04000000 03000000 070809 " + vtable) +
                         "44332211 . 09 . 2*-- . 1000 8600 . 0400 0500 5500 6100 8100 8500 . 4*--"),
            full);
}

// Nested tables that lie further off than 16 bits reach; a buffer behind a gap of the record.
TEST(Codec, TablesBehindALongBuffer) {
  const std::vector<u8> bytes(70'000, 7);
  for (const u32 length : {70'000u, 3u, 0u}) {
    const sample::Inner last = {static_cast<u16>(length), {}};
    encoded(sample::Lent{6, {.f2 = 5}, {{1, {}}, last}, {}, {.f1 = 4}, length, bytes.data()});
  }
}

// The longest table that its vtable can describe: 4 + 2 + 8 + 65,521 bytes.
TEST(Codec, LongestTable) {
  const auto [compact, full] = encoded(sample::LongTable{1, {}});
  const auto first = compact.begin() + 4;
  EXPECT_EQ(wire::expand("0800 FFFF"), model::Picture(first, first + 4));
}

// As on hosts of either byte order, on whichever this is: a record's bytes and what goes out.
TEST(Codec, WordsAreTurnedOnABigEndianHost) {
  constexpr std::endian little = std::endian::little;
  constexpr std::endian big = std::endian::big;
  const u8 memory[] = "\1\2\3\4\5\6\7 \x11\x22\x33\x44\x55\x66\x77\x88 \1\2\3";
  const struct {
    const char* bytes;
    void (*store)(u8* out, const u8* from);
  } rows[] = {
      {"1122334455667788", [](u8* o, const u8* f) { codec::storeArray<u32, little>(o, f, 2); }},
      {"4433221188776655", [](u8* o, const u8* f) { codec::storeArray<u32, big>(o, f, 2); }},
      {"2211443366558877", [](u8* o, const u8* f) { codec::storeArray<u16, big>(o, f, 4); }},
      {"1122334455667788", [](u8* o, const u8* f) { codec::storeArray<u8, big>(o, f, 8); }},
      {"1122334455667788", codec::storeRun<little, u16, u8, u32, u8>},
      {"2211337766554488", codec::storeRun<big, u16, u8, u32, u8>},
  };
  for (const auto& [bytes, store] : rows) {
    u8 out[9] = {};
    store(out, memory + 8);
    EXPECT_EQ(wire::expand(bytes), model::Picture(out, out + 8)) << bytes;
    EXPECT_EQ(0, out[8]) << bytes;
  }
}
