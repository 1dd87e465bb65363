// Templates, policy nodes and instances, rule MAC: records and their bytes side by side.

#include "wire.h"

using wire::expectBytes;
using wire::expectCompact;

TEST(GoldenTemplates, Classifier) {
  const auto method = MqcFesIntf_sendClassifierTemplateSetIdl;
  const MQC_ClassifierTemplate record = {
      .f0 = 7, .f1 = {0x41, 0x42, 0x43}, .f2 = 0, .f3 = 0x0102, .f4 = 0, .f5 = 5, .f6 = 0x11223344};
  expectBytes(method, record,
              "16000000 . 1200 3700 . 0400 0F00 0000 0800 0000 0A00 0B00 . 12000000 . "
              "07000000 . 0201 . 05 . 44332211 . 04000000 . 20000000 . 414243 29*00",
              "04000000 . C4FFFFFF . 07000000 . 04000000 20000000 414243 29*00 . 00000000 . 0201 . "
              "00 . 05 . 44332211 . 1200 3C00 . 0400 0800 3000 3400 3600 3700 3800 . 6*--");
  const MQC_ClassifierTemplate zero = {};
  expectBytes(method, zero,
              "16000000 . 1200 2C00 . 0000 0400 5*0000 . 12000000 . 04000000 20000000 32*00",
              "04000000 . C4FFFFFF . 00000000 . 04000000 20000000 32*00 . 12*00 . "
              "1200 3C00 . 0400 0800 3000 3400 3600 3700 3800 . 6*--");
}

TEST(GoldenTemplates, Behavior) {
  const auto method = MqcFesIntf_sendBehaviorTemplateSetIdl;
  const MQC_BehaviorTemplate record = {.f0 = 0x10, .f1 = {0x42, 0x48}, .f2 = 0, .f3 = 3};
  expectBytes(method, record,
              "10000000 . 0C00 3400 . 0400 0C00 0000 0800 . 0C000000 . 10000000 . 03000000 . "
              "04000000 . 20000000 . 4248 30*00",
              "04000000 . C8FFFFFF . 10000000 . 04000000 20000000 4248 30*00 . 00000000 . "
              "03000000 . 0C00 3800 . 0400 0800 3000 3400");
  const MQC_BehaviorTemplate filled = {.f0 = 1, .f1 = {}, .f2 = 2, .f3 = 3};
  expectCompact(method, filled,
                "10000000 . 0C00 3800 . 0400 1000 0800 0C00 . 0C000000 . 01000000 . 02000000 . "
                "03000000 . 04000000 . 20000000 . 32*00");
}

TEST(GoldenTemplates, Policy) {
  const auto method = MqcFesIntf_sendPolicyTemplateSetIdl;
  const MQC_PolicyTemplate record = {
      .f0 = 1, .f1 = {0x50, 0x54}, .f2 = 0, .f3 = 2, .f4 = 0, .f5 = 0x100};
  expectBytes(method, record,
              "14000000 . 1000 3500 . 0400 0D00 0000 0800 0000 0900 . 10000000 . 01000000 . "
              "02 . 00010000 . 04000000 . 20000000 . 5054 30*00",
              "04000000 . C4FFFFFF . 01000000 . 04000000 20000000 5054 30*00 . 00000000 . 02 . "
              "00 . 00010000 . 2*-- . 1000 3A00 . 0400 0800 3000 3400 3500 3600");
}

TEST(GoldenTemplates, PolicyNode) {
  const auto method = MqcFesIntf_sendPolicyNodeSetIdl;
  const MQC_PolicyNode record = {.f0 = 1, .f5 = 0x0203, .f6 = 0x11223344};
  expectBytes(method, record,
              "16000000 . 1200 0E00 . 0400 4*0000 0800 0A00 . 12000000 . 01000000 . 0302 . "
              "44332211",
              "04000000 . E0FFFFFF . 01000000 . 4*00000000 . 0302 . 44332211 . 2*-- . "
              "1200 1E00 . 0400 0800 0C00 1000 1400 1800 1A00 . 2*--");
  const MQC_PolicyNode tail = {.f5 = 0x0203, .f6 = 0x11223344};
  expectCompact(method, tail,
                "16000000 . 1200 0A00 . 5*0000 0400 0600 . 12000000 . 0302 . 44332211");
}

TEST(GoldenTemplates, PolicyInst) {
  const auto method = MqcFesIntf_sendPolicyInstSetIdl;
  const MQC_PolicyInst record = {.f0 = 5, .f2 = 1, .f6 = 7, .f11 = 9};
  expectBytes(method, record,
              "20000000 . 1C00 0C00 . 0400 0000 0800 0000 0000 0000 0900 4*0000 0B00 . "
              "1C000000 . 05000000 . 01 . 0700 . 09",
              "04000000 . D8FFFFFF . 05000000 . 00000000 . 01 . 00 . 00000000 . 00000000 . 0700 . "
              "0000 . 00000000 . 00000000 . 00000000 . 09 . 1*-- . "
              "1C00 2700 . 0400 0800 0C00 0D00 0E00 1200 1600 1800 1A00 1E00 2200 2600");
  const MQC_PolicyInst zero = {};
  expectCompact(method, zero, "20000000 . 1C00 0400 . 12*0000 . 1C000000");
}

TEST(GoldenTemplates, RuleMac) {
  const auto method = MqcFesIntf_sendRuleMacSetIdl;
  const MQC_RuleMac record = {.head = {1, 0, 3, 0, 0, 6},
                              .f1 = {0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F},
                              .f2 = {1, 2, 3, 4, 5, 6},
                              .f3 = 9};
  expectBytes(method, record,
              "10000000 . 0C00 2500 . 0500 0900 0D00 0400 . 0C000000 . 09 . 30000000 . "
              "08000000 . 0E000000 . 06000000 0A0B0C0D0E0F . 06000000 010203040506 . "
              "1000 1000 0400 0000 0800 0000 0000 0C00 . 10000000 01000000 03000000 06000000",
              "04000000 . ACFFFFFF . 04000000 . E4FFFFFF 01000000 00000000 03000000 00000000 "
              "00000000 06000000 . 1000 1C00 0400 0800 0C00 1000 1400 1800 . "
              "04000000 06000000 0A0B0C0D0E0F . 04000000 06000000 010203040506 . 09 . 3*-- . "
              "0C00 5100 . 0400 3400 4200 5000 . 4*--");
  const MQC_RuleMac zero = {};
  expectCompact(method, zero,
                "10000000 . 0C00 2400 . 0400 0800 0C00 0000 . 0C000000 . 30000000 . 08000000 . "
                "0E000000 . 06000000 6*00 . 06000000 6*00 . 1000 0400 12*00 . 10000000");
}
