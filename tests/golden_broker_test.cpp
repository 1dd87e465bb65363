// Spsa broker configuration: records and their bytes side by side.

#include "wire.h"

using wire::expectBytes;
using wire::expectCompact;
using wire::steps;

TEST(GoldenBroker, GlobalCfg) {
  const auto method = MqcFesIntf_SpsaBrkSetGlobalCfgSetIdl;
  expectCompact(method, SPSA_BrkGlobalCfgMsg{},
                "1A000000 16002C00 . 0000 0000 0400 6*0000 . 16000000 04000000 20000000 32*00");
  const SPSA_BrkGlobalCfgMsg record = {
      .f0 = 1, .f2 = {0x41, 0x42}, .f3 = 3, .f4 = 4, .f5 = 5, .f6 = 6, .f7 = 7, .f8 = 8};
  expectBytes(method, record,
              "1A000000 . 1600 4800 . 0400 0000 2000 0800 0C00 1000 1400 1800 1C00 . 16000000 . "
              "01000000 . " +
                  steps<u32>(3, 6) + " . 04000000 . 20000000 . 4142 30*00",
              "04000000 . B4FFFFFF . 01000000 . 00000000 . 04000000 20000000 4142 30*00 . " +
                  steps<u32>(3, 6) + " . 1600 4C00 . 0400 0800 0C00" + steps<u16>(52, 6, 4) +
                  "2*--");
}

TEST(GoldenBroker, SaPolicy) {
  const auto method = MqcFesIntf_SpsaBrkConfigSaPolicySetIdl;
  const SPSA_BrkSaPolicyMsg record = {.f3 = 0x0304};
  expectBytes(method, record,
              "10000000 0C002E00 00000000 06000400 0C000000 0403 04000000 20000000 32*00",
              "04000000 . C8FFFFFF . 00000000 . 00000000 . 04000000 20000000 32*00 . 0403 . 2*-- . "
              "0C00 3600 . 0400 0800 0C00 3400");
}

TEST(GoldenBroker, SapAct) {
  const auto method = MqcFesIntf_SpsaBrkConfigSapActSetIdl;
  expectCompact(method, SPSA_BrkSapActMsg{},
                "1A000000 . 1600 5500 . 0000 0000 0400 0800 5*0000 . 16000000 . 08000000 . "
                "28000000 . 20000000 32*00 . 21000000 33*00");
  SPSA_BrkSapActMsg record = {.f2 = {0x41}, .f8 = 5};
  record.f3[32] = 0x43;
  expectBytes(method, record,
              "1A000000 . 1600 5600 . 0000 0000 0500 0900 4*0000 0400 . 16000000 05 08000000 "
              "28000000 20000000 41 31*00 . 21000000 32*00 43",
              "04000000 . 9CFFFFFF . 00000000 . 00000000 . 04000000 20000000 41 31*00 . "
              "04000000 21000000 32*00 43 . 00 . 00 . 00 . 00 . 05 . 2*-- . "
              "1600 6200 . 0400 0800 0C00 3400 5D00 5E00 5F00 6000 6100 . 2*--");
}

TEST(GoldenBroker, WhiteList) {
  const auto method = MqcFesIntf_SpsaBrkConfigWhiteListSetIdl;
  expectCompact(method, SPSA_BrkWhiteListMsg{}, "10000000 0C000400 8*00 0C000000");
  const SPSA_BrkWhiteListMsg record = {.f0 = 1, .f2 = 2, .f3 = 3};
  expectBytes(method, record, "10000000 0C000D00 04000000 08000900 0C000000 01000000 02 03000000",
              "04000000 ECFFFFFF 01000000 00000000 02 03000000 . 3*-- . 0C001100 04000800 "
              "0C000D00 . 4*--");
}
