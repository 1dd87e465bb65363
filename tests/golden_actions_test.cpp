// Actions: records and their bytes side by side.

#include "wire.h"

using wire::expectBytes;
using wire::expectCompact;
using wire::expectFull;
using wire::SetIdl;
using wire::steps;
using wire::words;

namespace {

// Heads as nested tables of the compact encoding and as blocks of the full one.
const std::string emptyHead = " . 0A00 0400 6*00 . 0A000000";
const std::string filledHead = " . 0A00 1000 0400 0800 0C00 . 0A000000 01000000 02000000 03000000";
const std::string emptyBlock = " . 04000000 . F0FFFFFF 12*00 . 0A00 1000 0400 0800 0C00 . 2*-- . ";
const std::string filledBlock =
    " . 04000000 . F0FFFFFF 01000000 02000000 03000000 . 0A00 1000 0400 0800 0C00 . 2*-- . ";

}  // namespace

TEST(GoldenActions, HeadAndOneWord) {
  const SetIdl methods[] = {MqcFesIntf_act_filter_operSetIdl, MqcFesIntf_act_mac_learn_operSetIdl,
                            MqcFesIntf_act_urpf_operSetIdl, MqcFesIntf_act_car_share_operSetIdl};
  const MQC_act_filter record = {.head = {1, 2, 3}, .f1 = 4};
  for (const SetIdl& method : methods) {
    SCOPED_TRACE(&method - methods);
    expectCompact(method, MQC_act_filter{},
                  "0C000000 08000800 04000000 08000000 0E000000 0A000400 6*00 0A000000");
    expectBytes(method, record,
                "0C000000 08000C00 08000400 08000000 04000000 0E000000 0A001000 04000800 0C00 "
                "0A000000 01000000 02000000 03000000",
                "04000000 D8FFFFFF 04000000 F0FFFFFF 01000000 02000000 03000000 0A001000 04000800 "
                "0C00 2*-- 04000000 08002800 04002400 4*--");
  }
}

TEST(GoldenActions, VlanStack) {
  const auto method = MqcFesIntf_act_vlan_stack_operSetIdl;
  const MQC_act_vlan_stack record = {.head = {1, 0, 0}, .f1 = 0x0102};
  expectBytes(method, record,
              "0C000000 08000A00 06000400 08000000 0201 0E000000 0A000800 04000000 0000 "
              "0A000000 01000000",
              "04000000 . D8FFFFFF . 04000000 . F0FFFFFF 01000000 00000000 00000000 . "
              "0A00 1000 0400 0800 0C00 . 2*-- . 0201 . 2*-- . 08002600 04002400 . 4*--");
  const MQC_act_vlan_stack highBytes = {.head = {0, 0, 0x80000000}, .f1 = 0x0100};
  expectCompact(method, highBytes,
                "0C000000 08000A00 06000400 08000000 0001 0E000000 0A000800 00000000 0400 "
                "0A000000 00000080");
}

TEST(GoldenActions, StatAndMirror) {
  const MQC_act_stat stat = {.f1 = 5, .f2 = 6};
  expectBytes(MqcFesIntf_act_stat_operSetIdl, stat,
              "0E000000 0A001000 0C000400 0800 0A000000 05000000 06000000 0E000000 0A000400 "
              "6*00 0A000000",
              "04000000 . D4FFFFFF" + emptyBlock +
                  "05000000 . 06000000 . 0A00 2C00 . 0400 2400 2800 . 6*--");
  const MQC_act_mirror mirror = {.f2 = 7, .f4 = 9};
  expectBytes(MqcFesIntf_act_mirror_operSetIdl, mirror,
              "12000000 . 0E00 1000 . 0C00 0000 0400 0000 0800 . 0E000000 . 07000000 . "
              "09000000 . 0E000000" +
                  emptyHead,
              "04000000 . CCFFFFFF" + emptyBlock +
                  "00000000 . 07000000 . 00000000 . 09000000 . "
                  "0E00 3400 . 0400 2400 2800 2C00 3000 . 2*--");
}

TEST(GoldenActions, AnyFlow) {
  const auto method = MqcFesIntf_ActAnyFlowSetIdl;
  expectCompact(method, MQC_ACT_ANYFLOW{},
                "0A000000 06000800 0400 06000000 0E000000 0A000400 6*00 0A000000");
  const MQC_ACT_ANYFLOW record = {.head = {1, 2, 3}};
  expectBytes(method, record, "0A000000 . 0600 0800 . 0400 . 06000000 . 0E000000" + filledHead,
              "04000000 . DCFFFFFF" + filledBlock + "0600 2400 . 0400 . 2*--");
}

TEST(GoldenActions, Common) {
  const auto method = MqcFesIntf_ActCommonIntfSetIdl;
  expectCompact(method, MQC_ActCommonMsg{},
                "0A000000 06000800 0400 06000000 10000000 0C000400 8*00 0C000000");
  const MQC_ActCommonMsg record = {.f0 = {.f1 = 2, .f3 = 4}};
  expectBytes(method, record,
              "0A000000 06000800 0400 06000000 10000000 . 0C000C00 00000400 00000800 . "
              "0C000000 02000000 04000000",
              "04000000 . D4FFFFFF . 04000000 . ECFFFFFF 00000000 02000000 00000000 04000000 . "
              "0C001400 04000800 0C001000 . 4*-- . 0600 2C00 . 0400 . 2*--");
}

TEST(GoldenActions, Car) {
  const auto method = MqcFesIntf_act_car_operSetIdl;
  expectCompact(method, MQC_act_car{},
                "3C000000 38000800 0400 25*0000 38000000 0E000000 0A000400 6*00 0A000000");
  const MQC_act_car record = {.f1 = 7, .f16 = 1, .f24 = 0x0203};
  expectCompact(method, record,
                "3C000000 . 3800 0F00 . 0B00 0400 14*0000 0800 7*0000 0900 0000 . 38000000 . "
                "07000000 . 01 . 0302 . 0E000000" +
                    emptyHead);
  // clang-format off
  const MQC_act_car counting = {  // its bytes count up from 0 on the wire
      .head = {0x03020100, 0x07060504, 0x0B0A0908},
      .f1 = 0x0F0E0D0C, .f2 = 0x13121110, .f3 = 0x17161514, .f4 = 0x1B1A1918, .f5 = 0x1F1E1D1C,
      .f6 = 0x23222120, .f7 = 0x27262524, .f8 = 0x2B2A2928, .f9 = 0x2F2E2D2C, .f10 = 0x33323130,
      .f11 = 0x37363534, .f12 = 0x3B3A3938, .f13 = 0x3F3E3D3C, .f14 = 0x43424140,
      .f15 = 0x47464544, .f16 = 0x48, .f17 = 0x49, .f18 = 0x4A, .f19 = 0x4B, .f20 = 0x4C,
      .f21 = 0x4D, .f22 = 0x4E, .f23 = 0x4F, .f24 = 0x5150, .f25 = 0x5352};
  // clang-format on
  expectFull(method, counting,
             "04000000 . 94FFFFFF . 04000000 . F0FFFFFF" + steps<u8>(0, 12) +
                 " . 0A00 1000 0400 0800 0C00 . 2*-- . " + steps<u8>(0x0C, 60) +
                 " . 48 49 4A 4B 4C 4D 4E 4F . 5051 . 5253 . 3800 6C00 . 0400" +
                 steps<u16>(0x24, 15, 4) + "6000 6100 6200 6300 6400 6500 6600 6700 6800 6A00");
}

TEST(GoldenActions, Remark) {
  const auto method = MqcFesIntf_act_remark_operSetIdl;
  const MQC_act_remark record = {.f10 = 5};
  expectBytes(method, record,
              "1E000000 1A000C00 0800 9*0000 0400 1A000000 05000000 0E000000 0A000400 6*00 "
              "0A000000",
              "04000000 . B4FFFFFF" + emptyBlock + "9*00000000 05000000 . 1A00 4C00 . 0400" +
                  steps<u16>(36, 10, 4) + "6*--");
}

TEST(GoldenActions, RedirectMtnl) {
  const auto method = MqcFesIntf_ActRedirectMtnlSetIdl;
  expectCompact(method, MQC_act_redirect_mtnl{},
                "12000000 0E001802 04000000 00000800 0C00 0E000000 1E020000 08000000 08010000 . "
                "40000000 256*00 . 40000000 256*00" +
                    emptyHead);
  MQC_act_redirect_mtnl record = {.f2 = 9, .f3 = {0x11}};
  record.f4[63] = 0x22;
  const std::string f3 = " . 40000000 11000000 252*00";
  const std::string f4 = " . 40000000 252*00 22000000";
  expectBytes(method, record,
              "12000000 . 0E00 1C02 . 0800 0000 0400 0C00 1000 . 0E000000 . 09000000 . "
              "1E020000 . 08000000 . 08010000" +
                  f3 + f4 + emptyHead,
              "04000000 . C4FDFFFF" + emptyBlock + "00000000 . 09000000 . 04000000" + f3 +
                  " . 04000000" + f4 + " . 0E003C02 04002400 28002C00 3401 . 2*--");
}

namespace {

const std::string redirectVectors =
    words<u32>({498, 48, 112, 176, 240, 272, 336, 344, 346}) + words<u32>({348, 356, 364, 428});

/// Scalars that are their slot numbers, and arrays whose elements all differ.
MQC_act_redirect_nhp filledRedirect() {
  // clang-format off
  MQC_act_redirect_nhp record = {
      .head = {1, 2, 3},
      .f1 = 1, .f2 = 2, .f3 = 3, .f4 = 4, .f5 = 5, .f6 = 6, .f7 = 7, .f8 = 8, .f9 = 9,
      .f15 = {0x0F000000, 0x0F000001}, .f16 = {0x61, 0x62}, .f17 = {0x71, 0x72},
      .f18 = {0x12000000, 0x12000001}, .f20 = 20, .f21 = 21, .f23 = 23, .f24 = 24, .f25 = 25,
      .f26 = {0x1A000000, 0x1A000001}, .f27 = 27};
  // clang-format on
  for (u32 i = 0; i < 16; ++i) {
    record.f10[i] = 0x0A000000 + i;
    record.f12[i] = 0x0C000000 + i;
    record.f13[i] = static_cast<u16>(0x0D00 + i);
    record.f14[i] = 0x0E000000 + i;
    record.f22[i] = 0x16000000 + i;
    for (u32 j = 0; j < 16; ++j) record.f11[i].f0[j] = static_cast<u8>(16 * i + j);
    for (u32 k = 0; k < 2; ++k) record.f19[k].f0[i] = static_cast<u8>(0xB1 + k);
  }
  return record;
}

/// Elements of f11, numbered from 0, and f19, 16 and 17, each between head and tail.
std::string redirectElements(const std::string& head, const std::string& tail, u32 from, u32 to) {
  std::string text;
  for (u32 i = from; i < to; ++i) {
    text += head + (i < 16 ? steps(static_cast<u8>(16 * i), 16) : i == 16 ? "16*B1 " : "16*B2 ");
    text += tail;
  }
  return text;
}

}  // namespace

TEST(GoldenActions, RedirectNhpZero) {
  expectCompact(
      MqcFesIntf_act_redirect_nhpSetIdl, MQC_act_redirect_nhp{},
      "40000000 3C00EC01 0400 9*0000 08000C00 10001400 18001C00 20002400 28002C00 00000000 "
      "3000 3*0000 3400 0000 . 3C000000 . " +
          redirectVectors + " . 10000000 64*00 . 10000000" + steps<u32>(0x180, 16, 30) +
          " . 10000000 64*00 . 10000000 32*00 . 10000000 64*00 . 02000000 8*00 . 02000000 2*00 . "
          "02000000 2*00 . 02000000 8*00 . 02000000 8C020000 AA020000 . 10000000 64*00 . "
          "02000000 8*00 . 0A000400 6*00 0A000000 . "
          "18*06001C000400060000000400000010000000"
          "00000000000000000000000000000000");
}

TEST(GoldenActions, RedirectNhpFilled) {
  const auto method = MqcFesIntf_act_redirect_nhpSetIdl;
  const MQC_act_redirect_nhp record = filledRedirect();
  const std::string f10 = " . 10000000" + steps<u32>(0x0A000000, 16);
  const std::string f12 = " . 10000000" + steps<u32>(0x0C000000, 16);
  const std::string f13 = " . 10000000" + steps<u16>(0x0D00, 16);
  const std::string f14 = " . 10000000" + steps<u32>(0x0E000000, 16);
  const std::string f15 = " . 02000000 0000000F 0100000F";
  const std::string f16 = " . 02000000 6162";
  const std::string f17 = " . 02000000 7172";
  const std::string f18 = " . 02000000 00000012 01000012";
  const std::string f22 = " . 10000000" + steps<u32>(0x16000000, 16);
  const std::string f26 = " . 02000000 0000001A 0100001A";
  expectCompact(method, record,
                "40000000 . 3C00 2802 . 4000" + steps<u16>(4, 9, 4) + steps<u16>(68, 10, 4) +
                    words<u16>({40, 44, 108, 48, 52, 56, 112, 60}) + " . 3C000000 . " +
                    steps<u32>(1, 9) + words<u32>({20, 21, 23, 24, 25, 27}) + " . " +
                    redirectVectors + f10 + " . 10000000" + steps<u32>(0x18C, 16, 30) + f12 + f13 +
                    f14 + f15 + f16 + f17 + f18 + " . 02000000 98020000 B6020000" + f22 + f26 +
                    filledHead + " . " +
                    redirectElements("06001C00 0400 06000000 04000000 10000000 ", " . ", 0, 18));
  const std::string block = "04000000 E4FFFFFF 04000000 10000000 ";
  const std::string vtable = "06001C00 0400 2*-- . ";
  const std::string ref = " . 04000000";
  expectFull(method, record,
             "04000000 . ECFAFFFF" + filledBlock + steps<u32>(1, 9) + ref + f10 + ref +
                 " . 10000000" + steps<u32>(68, 16, 36) + redirectElements(block, vtable, 0, 16) +
                 ref + f12 + ref + f13 + ref + f14 + ref + f15 + ref + f16 + ref + f17 + ref + f18 +
                 ref + " . 02000000 0C000000 30000000 . " +
                 redirectElements(block, vtable, 16, 18) + "14000000 15000000" + ref + f22 +
                 " . 17000000 18000000 19000000" + ref + f26 + " . 1B000000 . 3C00 1405 . 0400" +
                 steps<u16>(36, 9, 4) + words<u16>({72, 144, 856, 928, 968, 1040, 1056, 1066}) +
                 words<u16>({1076, 1092, 1188, 1192, 1196, 1268, 1272, 1276, 1280, 1296}) +
                 " . 4*--");
}
