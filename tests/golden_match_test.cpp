// Match rules: records and their bytes side by side.

#include "wire.h"

using wire::expectBytes;
using wire::expectCompact;
using wire::expectFull;
using wire::SetIdl;
using wire::steps;
using wire::words;

namespace {

// Heads as nested tables of the compact encoding and as blocks of the full one.
const std::string emptyHead = " . 1000 0400 12*00 . 10000000";
const std::string headVtable = " 1000 1C00 0400 0800 0C00 1000 1400 1800 ";
const std::string filledHead = " . " + headVtable + " . 10000000 " + steps<u32>(1, 6);
const std::string emptyBlock = " . 04000000 . E4FFFFFF 24*00 . " + headVtable + " . ";
const std::string filledBlock =
    " . 04000000 . E4FFFFFF" + steps<u32>(1, 6) + " . " + headVtable + " . ";

}  // namespace

TEST(GoldenMatch, HeadAndOneWord) {
  const SetIdl methods[] = {
      MqcFesIntf_match_tcp_flag_operSetIdl, MqcFesIntf_match_l2_proto_operSetIdl,
      MqcFesIntf_match_fwd_type_operSetIdl, MqcFesIntf_match_fwd_info_operSetIdl,
      MqcFesIntf_match_local_id_operSetIdl};
  const MQC_match_tcp_flag record = {.head = {1, 2, 3, 4, 5, 6}, .f1 = 7};
  const MQC_match_tcp_flag zero = {};
  for (const SetIdl& method : methods) {
    SCOPED_TRACE(&method - methods);
    expectBytes(method, record,
                "0c000000 . 08000c00 . 08000400 . 08000000 . 07000000 . 14000000" + filledHead,
                "04000000 . c8ffffff" + filledBlock + "07000000 . 08003800 04003400 . 4*--");
    expectBytes(method, zero, "0c000000 . 08000800 . 04000000 . 08000000 . 14000000" + emptyHead,
                "04000000 . c8ffffff" + emptyBlock + "00000000 . 08003800 04003400 . 4*--");
  }
}

TEST(GoldenMatch, PriAndVlan) {
  const SetIdl methods[] = {MqcFesIntf_match_pri_operSetIdl, MqcFesIntf_match_vlan_operSetIdl};
  const MQC_match_pri record = {.f1 = 0, .f2 = 0x20, .f3 = 0, .f4 = 0x40};
  for (const SetIdl& method : methods) {
    SCOPED_TRACE(&method - methods);
    expectBytes(method, record,
                "12000000 . 0E00 1000 . 0C00 0000 0400 0000 0800 . 0E000000 . 20000000 . "
                "40000000 . 14000000" +
                    emptyHead,
                "04000000 . BCFFFFFF" + emptyBlock +
                    "00000000 . 20000000 . 00000000 . 40000000 . "
                    "0E00 4400 . 0400 3400 3800 3C00 4000 . 2*--");
  }
}

TEST(GoldenMatch, Acl) {
  const auto method = MqcFesIntf_match_acl_operSetIdl;
  const MQC_match_acl record = {.f3 = 0x55};
  expectBytes(method, record,
              "14000000 . 1000 0C00 . 0800 0000 0000 0400 0000 0000 . 10000000 . 55000000 . "
              "14000000" +
                  emptyHead,
              "04000000 . B8FFFFFF" + emptyBlock +
                  "00000000 . 00000000 . 55000000 . 00000000 . 00000000 . "
                  "1000 4800 . 0400 3400 3800 3C00 4000 4400 . 4*--");
}

TEST(GoldenMatch, Any) {
  const auto method = MqcFesIntf_match_any_operSetIdl;
  const MQC_match_any record = {.head = {1, 2, 3, 4, 5, 6}};
  const std::string outer = "0A000000 . 0600 0800 . 0400 . 06000000 . 14000000";
  expectCompact(method, record, outer + filledHead);
  expectCompact(method, MQC_match_any{}, outer + emptyHead);
  expectFull(method, record, "04000000 . CCFFFFFF" + filledBlock + "0600 3400 . 0400 . 2*--");
}

TEST(GoldenMatch, IpidAndInterface) {
  const MQC_match_ipid ipid = {.f1 = 0, .f2 = 0x0102};
  expectBytes(
      MqcFesIntf_match_ipid_operSetIdl, ipid,
      "0E000000 . 0A00 0A00 . 0600 0000 0400 . 0A000000 . 0201 . 14000000" + emptyHead,
      "04000000 . C8FFFFFF" + emptyBlock + "0000 . 0201 . 0A00 3800 . 0400 3400 3600 . 2*--");
  const MQC_match_interface interface = {.f1 = 0, .f2 = 10, .f3 = 0, .f4 = 513};
  expectBytes(MqcFesIntf_match_interface_operSetIdl, interface,
              "12000000 . 0e000e00 . 0a00 0000 0400 0000 0600 . 0e000000 . 0a00 . 01020000 . "
              "14000000 . 10000400 12*00 . 10000000",
              "04000000 . C0FFFFFF" + emptyBlock +
                  "00000000 . 0A00 . 0000 . 01020000 . "
                  "0E00 4000 . 0400 3400 3800 3A00 3C00 . 6*--");
}

TEST(GoldenMatch, Nexthop) {
  const auto method = MqcFesIntf_match_nexthop_operSetIdl;
  expectCompact(method, MQC_match_nexthop{},
                "12000000 . 0e002000 . 0400 0000 0000 0000 0800 . 0e000000 . 2c000000 . "
                "04000000 . 10000000 16*00 . 10000400 12*00 . 10000000");
  const MQC_match_nexthop record = {.f2 = 9,
                                    .f4 = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18,
                                           0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F}};
  expectBytes(method, record,
              "12000000 . 0E00 2400 . 0800 0000 0400 0000 0C00 . 0e000000 . 09000000 . "
              "2c000000 . 04000000 . 10000000 1011121314151617 18191a1b1c1d1e1f" +
                  emptyHead,
              "04000000 . A8FFFFFF" + emptyBlock +
                  "00000000 . 09000000 . 00000000 . "
                  "04000000 10000000 1011121314151617 18191a1b1c1d1e1f . "
                  "0e005800 04003400 38003c00 4000 . 6*--");
}

TEST(GoldenMatch, VxlanAndVxlanTran) {
  const SetIdl methods[] = {MqcFesIntf_match_vxlan_rsv_operSetIdl,
                            MqcFesIntf_match_vxlan_tran_rsv_operSetIdl};
  const MQC_match_vxlan_rsv record = {
      .head = {1, 2, 3, 4, 5, 6}, .f1 = 7, .f2 = 8, .f3 = {0x0A, 0x0B, 0x0C}};
  const MQC_match_vxlan_rsv noHead = {.f1 = 7, .f2 = 8, .f3 = {0x0A, 0x0B, 0x0C}};
  const std::string outer =
      "10000000 . 0c001800 . 09000400 08000d00 . 0c000000 . 07000000 . 08 . 1f000000 . "
      "04000000 . 03000000 0a0b0c";
  const std::string fullTail =
      "07000000 . 08 . 04000000 03000000 0a0b0c . 0c004400 04003400 38003900 . 4*--";
  for (const SetIdl& method : methods) {
    SCOPED_TRACE(&method - methods);
    expectBytes(method, record, outer + filledHead, "04000000 . bcffffff" + filledBlock + fullTail);
    expectBytes(method, noHead, outer + emptyHead, "04000000 . bcffffff" + emptyBlock + fullTail);
  }
}

TEST(GoldenMatch, AllSparse) {
  const auto method = MqcFesIntf_match_all_operSetIdl;
  const std::string references =
      "64000000 . 14000000 . 1a000000 . 20000000 . 26000000 . 2c000000 . 06000000 ";
  const std::string emptyBodies = " . 06000000 6*00 . 06000000 6*00 . 06000000 6*00 . 10000000 ";
  expectCompact(method, MQC_match_all{},
                "84000000 . 80005800 . 0400 8*0000 0800 0C00 1000 1400 33*0000 1800 15*0000 . "
                "80000000 . " +
                    references + "6*00" + emptyBodies + "16*00" + emptyHead);
  const MQC_match_all record = {.f1 = 1,
                                .f9 = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5},
                                .f46 = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
  expectCompact(method, record,
                "84000000 . 80005C00 . 0800 0400 7*0000 0C00 1000 1400 1800 33*0000 1C00 "
                "15*0000 . 80000000 . 01000000 . " +
                    references + "a0a1a2a3a4a5" + emptyBodies +
                    "0102030405060708 090a0b0c0d0e0f10" + emptyHead);
}

namespace {

// Every field is there; each scalar is its slot number.
// clang-format off
const MQC_match_all everyField = {
    .head = {1, 2, 3, 4, 5, 6},
    .f1 = 1, .f2 = 2, .f3 = 3, .f4 = 4, .f5 = 5, .f6 = 6, .f7 = 7, .f8 = 8,
    .f9 = {0x90, 0x91, 0x92, 0x93, 0x94, 0x95}, .f10 = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5},
    .f11 = {0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5}, .f12 = {0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5},
    .f13 = 13, .f14 = 14, .f15 = 15, .f16 = 16, .f17 = 17, .f18 = 18, .f19 = 19, .f20 = 20,
    .f21 = 21, .f22 = 22, .f23 = 23, .f24 = 24, .f25 = 25, .f26 = 26, .f27 = 27, .f28 = 28,
    .f29 = 29, .f30 = 30, .f31 = 31, .f32 = 32, .f33 = 33, .f34 = 34, .f35 = 35, .f36 = 36,
    .f37 = 37, .f38 = 38, .f39 = 39, .f40 = 40, .f41 = 41, .f42 = 42, .f43 = 43, .f44 = 44,
    .f45 = 45, .f46 = {0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA},
    .f47 = 47, .f48 = 48, .f49 = 49, .f50 = 50, .f51 = 51, .f52 = 52, .f53 = 53, .f54 = 54,
    .f55 = 55, .f56 = 56, .f57 = 57, .f58 = 58, .f59 = 59, .f60 = 60, .f61 = 61};
// clang-format on

// Its scalars, which the four vectors of six bytes and the one of sixteen part.
const std::string upTo8 = steps<u32>(1, 2) + steps<u8>(3, 4) + steps<u32>(7, 2);
const std::string upTo45 = steps<u32>(13, 1) + steps<u16>(14, 4) + steps<u32>(18, 1) +
                           steps<u16>(19, 2) + steps<u32>(21, 25);
const std::string upTo61 = steps<u16>(47, 1) + steps<u8>(48, 2) + steps<u32>(50, 4) +
                           steps<u16>(54, 4) + steps<u32>(58, 4);

}  // namespace

TEST(GoldenMatch, AllFilled) {
  const auto method = MqcFesIntf_match_all_operSetIdl;
  expectBytes(method, everyField,
              "84000000 . 8000 1001 . BC00" + words<u16>({4, 8, 12, 13, 14, 15, 16, 20}) +
                  words<u16>({192, 196, 200, 204}) + words<u16>({24, 28, 30, 32, 34, 36, 40, 42}) +
                  steps<u16>(44, 25, 4) + "D000" + words<u16>({144, 146, 147}) +
                  steps<u16>(148, 4, 4) + steps<u16>(164, 4, 2) + steps<u16>(172, 4, 4) +
                  " . 80000000 . " + upTo8 + upTo45 + upTo61 +
                  " . 64000000 . 14000000 . 1A000000 . 20000000 . 26000000 . 2C000000 . "
                  "06000000 909192939495 . 06000000 A0A1A2A3A4A5 . 06000000 B0B1B2B3B4B5 . "
                  "06000000 C0C1C2C3C4C5 . 10000000 D0D1D2D3D4D5D6D7 D8D9DA 5*00" +
                  filledHead,
              "04000000 . C4FEFFFF" + filledBlock + upTo8 +
                  " . 04000000 06000000 909192939495 . 04000000 06000000 A0A1A2A3A4A5 . "
                  "04000000 06000000 B0B1B2B3B4B5 . 04000000 06000000 C0C1C2C3C4C5 . " +
                  upTo45 + " . 04000000 10000000 D0D1D2D3D4D5D6D7 D8D9DA 5*00 . " + upTo61 +
                  " . 8000 3C01 . " +
                  words<u16>({4, 52, 56, 60, 61, 62, 63, 64, 68, 72, 86, 100, 114}) +
                  words<u16>({128, 132, 134, 136, 138, 140, 144, 146}) + steps<u16>(148, 25, 4) +
                  words<u16>({248, 272, 274, 275, 276, 280, 284, 288, 292, 294, 296, 298}) +
                  words<u16>({300, 304, 308, 312}));
}

TEST(GoldenMatch, Rocev2) {
  const auto method = MqcFesIntf_match_rocev2_operSetIdl;
  expectCompact(method, MQC_match_rocev2{},
                "30000000 . 2c001300 . 0400 18*0000 0800 . 2c000000 . 1f000000 . 04000000 . "
                "03000000 000000 . 10000400 12*00 . 10000000");
  // clang-format off
  const MQC_match_rocev2 record = {
      .head = {1, 2, 3, 4, 5, 6}, .f1 = 1, .f2 = 2, .f3 = 3, .f4 = 4, .f5 = 5, .f6 = 6, .f7 = 7,
      .f8 = 8, .f9 = 9, .f10 = 10, .f11 = 11, .f12 = 12, .f13 = 13, .f14 = 14, .f15 = 15,
      .f16 = 16, .f17 = 17, .f18 = 18, .f19 = {0x0A, 0x0B, 0x0C}};
  // clang-format on
  expectBytes(method, record,
              "30000000 . 2C00 5800 . 4900" + steps<u16>(4, 17, 4) + "4800 4D00 . 2C000000 . " +
                  steps<u32>(1, 17) + " . 12 . 1F000000 . 04000000 . 03000000 0A0B0C" + filledHead,
              "04000000 . 7CFFFFFF" + filledBlock + steps<u32>(1, 17) +
                  " . 12 . 04000000 03000000 0A0B0C . 2C00 8400 . 0400" + steps<u16>(52, 17, 4) +
                  "7800 7900 . 4*--");
}

TEST(GoldenMatch, TunnelZero) {
  expectCompact(MqcFesIntf_match_tunnel_operSetIdl, MQC_match_tunnel{},
                "46000000 . 4200 8600 . 0400 5*0000 0800 0C00 1000 1400 5*0000 1800 4*0000 1C00 "
                "0000 2000 2*0000 2400 5*0000 . 42000000 . 92000000 . 20000000 . 26000000 . "
                "2c000000 . 32000000 . 38000000 . 3b000000 . 4b000000 . 5b000000 . "
                "06000000 6*00 . 06000000 6*00 . 06000000 6*00 . 06000000 6*00 . 03000000 3*00 . "
                "10000000 16*00 . 10000000 16*00 . 03000000 3*00" +
                    emptyHead);
}

TEST(GoldenMatch, TunnelFilled) {
  const auto method = MqcFesIntf_match_tunnel_operSetIdl;
  // clang-format off
  const MQC_match_tunnel record = {
      .head = {1, 2, 3, 4, 5, 6}, .f1 = 1, .f2 = 2, .f3 = 3, .f4 = 4, .f5 = 5,
      .f6 = {0x60, 1, 2, 3, 4, 5}, .f7 = {0x70, 1, 2, 3, 4, 5}, .f8 = {0x80, 1, 2, 3, 4, 5},
      .f9 = {0x90, 1, 2, 3, 4, 5}, .f10 = 10, .f11 = 11, .f12 = 12, .f13 = 13, .f14 = 14,
      .f15 = {0xF0, 1, 2}, .f16 = 16, .f17 = 17, .f18 = 18, .f19 = 19, .f20 = {0x20, 1, 2},
      .f21 = 21, .f22 = {0x22, 1, 2}, .f23 = 23, .f24 = 24, .f25 = {0x25, 1, 2}, .f26 = 26,
      .f27 = 27, .f28 = 28, .f29 = 29, .f30 = 30};
  // clang-format on
  expectBytes(method, record,
              "46000000 . 4200 C800 . 4600" + steps<u16>(4, 5, 4) + steps<u16>(74, 4, 4) +
                  words<u16>({24, 28, 32, 36, 40, 90, 41, 43, 45, 47, 94, 49, 98, 53, 57}) +
                  words<u16>({102, 58, 62, 64, 66, 68}) + " . 42000000 . " + steps<u32>(1, 5) +
                  steps<u32>(10, 4) + "0E" + steps<u16>(16, 4) + "15000000 17000000 18 1A000000" +
                  steps<u16>(27, 4) + " . " + words<u32>({146, 32, 38, 44, 50, 56, 59, 75, 91}) +
                  " . 06000000 600102030405 . 06000000 700102030405 . 06000000 800102030405 . "
                  "06000000 900102030405 . 03000000 F00102 . 10000000 200102 13*00 . "
                  "10000000 220102 13*00 . 03000000 250102" +
                  filledHead,
              "04000000 . 0CFFFFFF" + filledBlock + steps<u32>(1, 5) +
                  " . 04000000 06000000 600102030405 . 04000000 06000000 700102030405 . "
                  "04000000 06000000 800102030405 . 04000000 06000000 900102030405 . " +
                  steps<u32>(10, 4) + "0E . 04000000 03000000 F00102 . " + steps<u16>(16, 4) +
                  " . 04000000 10000000 200102 13*00 . 15000000 . 04000000 10000000 220102 13*00 . "
                  "17000000 . 18 . 04000000 03000000 250102 . 1A000000 . " +
                  steps<u16>(27, 4) + " . 4200 F400 . " +
                  words<u16>({4, 52, 56, 60, 64, 68, 72, 86, 100, 114, 128, 132, 136, 140, 144}) +
                  words<u16>({145, 156, 158, 160, 162, 164, 188, 192, 216, 220, 221, 232}) +
                  words<u16>({236, 238, 240, 242}) + " . 6*--");
}
