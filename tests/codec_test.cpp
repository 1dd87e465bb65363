// What the codec can do beyond what the messages ask of it, and the byte order it does not run on.

#include "codec/shared_tables.h"
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
  u32 f1_len;
  const u8* f1;
};

struct LongTable {
  u16 f0;
  u8 f1[65521];
};

}  // namespace sample

SLOTS(sample::Inner, SLOT(f0), SLOT(f1))
SLOTS(sample::Outer, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
SLOTS(sample::Lent, SLOT(f0), BUFFER(f1_len, f1))
SLOTS(sample::LongTable, SLOT(f0), SLOT(f1))

namespace {

template <class Record>
std::string compact(const Record& record) {
  const u8* const from = reinterpret_cast<const u8*>(&record);
  const auto over = [&](u8 fill) {
    wire::Bytes out(codec::compactSize<codec::ListOf<Record>>(from), fill);
    EXPECT_EQ(out.size(), codec::packMessage<codec::ListOf<Record>>(out.data(), from));
    return out;
  };
  return wire::show(over(0x00), over(0xFF));
}

template <class Record>
std::string full(const Record& record) {
  const auto over = [&](u8 fill) {
    wire::Bytes out(codec::LayoutOf<Record>::fullSize, fill);
    codec::packFull<codec::ListOf<Record>>(out.data(), &record);
    return out;
  };
  return wire::show(over(0x00), over(0xFF));
}

}  // namespace

// Element tables differ in length with their values; a nested table follows them all.
TEST(Codec, TablesOfValueDependentLength) {
  const sample::Outer record = {.f0 = 0,
                                .f1 = {{0x0102, {1, 2, 3}}, {0, {4, 5, 6}}},
                                .f2 = {0xA1A2, 0xB1B2},
                                .f3 = {0x0304, {7, 8, 9}},
                                .f4 = 0x11223344,
                                .f5 = 9};
  EXPECT_EQ(wire::expand("14000000 . 1000 2900 . 0000 0900 0D00 1100 0400 0800 . 10000000 . "
                         "44332211 09 . 0C000000 . 14000000 . 50000000 . "
                         "02000000 18000000 2D000000 . 02000000 A2A1 B2B1 . "
                         "0800 1100 0400 0600 . 08000000 . 0201 . 04000000 . 03000000 010203 . "
                         "0800 0F00 0000 0400 . 08000000 . 04000000 . 03000000 040506 . "
                         "0800 1100 0400 0600 . 08000000 . 0403 . 04000000 . 03000000 070809"),
            compact(record));
}

// A nested table whose size is no multiple of 4 has its vtable behind a gap, as a message has.
TEST(Codec, FullEncodingOfEveryKind) {
  const sample::Outer record = {.f0 = 8,
                                .f1 = {{0x0102, {1, 2, 3}}, {0, {4, 5, 6}}},
                                .f2 = {0xA1A2, 0xB1B2},
                                .f3 = {0x0304, {7, 8, 9}},
                                .f4 = 0x11223344,
                                .f5 = 9};
  const std::string vtable = "3*-- . 0800 1100 0400 0600 . ";
  EXPECT_EQ(wire::expand("04000000 . 78FFFFFF . 08 . 04000000 02000000 . 0C000000 28000000 . " +
                         ("04000000 ECFFFFFF 0201 04000000 03000000 010203 " + vtable) +
                         ("04000000 ECFFFFFF 0000 04000000 03000000 040506 " + vtable) +
                         "04000000 02000000 A2A1 B2B1 . " +
                         ("04000000 ECFFFFFF 0403 04000000 03000000 070809 " + vtable) +
                         "44332211 . 09 . 2*-- . 1000 8600 . 0400 0500 5500 6100 8100 8500 . 4*--"),
            full(record));
}

TEST(Codec, BufferBehindAGap) {
  const u8 bytes[] = {7, 8, 9};
  EXPECT_EQ(wire::expand("0C000000 . 0800 1000 . 0400 0500 . 08000000 . 06 . 04000000 . "
                         "03000000 070809"),
            compact(sample::Lent{6, 3, bytes}));
}

// The longest table that its vtable can describe: 4 + 2 + 8 + 65,521 bytes.
TEST(Codec, LongestTable) {
  const sample::LongTable record = {1, {}};
  const std::string bytes = compact(record);
  EXPECT_EQ(wire::expand("0C000000 . 0800 FFFF"), bytes.substr(0, 24));
}

// As on hosts of either byte order, on whichever this is: a record's bytes and what goes out.
TEST(Codec, WordsAreTurnedOnABigEndianHost) {
  constexpr std::endian little = std::endian::little;
  constexpr std::endian big = std::endian::big;
  const u8 memory[] = "\1\2\3\4\5\6\7 \x11\x22\x33\x44\x55\x66\x77\x88 \1\2\3";
  const u8* const record = memory + 8;
  const auto wireOf = [record](auto storeAll) {
    wire::Guarded out(8, 0);
    storeAll(out.data(), record);
    return wire::show(out.bytes(), out.bytes());
  };
  const auto array = [&]<class Word, std::endian Host>() {
    return wireOf([](u8* out, const u8* from) {
      codec::storeArray<Word, Host>(out, from, 8 / sizeof(Word));
    });
  };
  EXPECT_EQ(wire::expand("1122334455667788"), (array.operator()<u32, little>()));
  EXPECT_EQ(wire::expand("4433221188776655"), (array.operator()<u32, big>()));
  EXPECT_EQ(wire::expand("2211443366558877"), (array.operator()<u16, big>()));
  EXPECT_EQ(wire::expand("1122334455667788"), (array.operator()<u8, big>()));
  EXPECT_EQ(wire::expand("1122334455667788"), wireOf(codec::storeRun<little, u16, u8, u32, u8>));
  EXPECT_EQ(wire::expand("2211337766554488"), wireOf(codec::storeRun<big, u16, u8, u32, u8>));
}
