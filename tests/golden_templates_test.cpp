// Templates, policy nodes and instances, rule MAC: records and their bytes side by side.

#include "wire.h"

using wire::expectCompact;
using wire::expectFull;

TEST(GoldenTemplates, Classifier) {
  const auto method = MqcFesIntf_sendClassifierTemplateSetIdl;
  const MQC_ClassifierTemplate record = {
      .f0 = 7, .f1 = {0x41, 0x42, 0x43}, .f2 = 0, .f3 = 0x0102, .f4 = 0, .f5 = 5, .f6 = 0x11223344};
  expectCompact(method, record,
                "16000000 . 1200 3700 . 0400 0F00 0000 0800 0000 0A00 0B00 . 12000000 . "
                "07000000 . 0201 . 05 . 44332211 . 04000000 . 20000000 . 414243 29*00");
  expectFull(method, record,
             "04000000 . C4FFFFFF . 07000000 . 04000000 20000000 414243 29*00 . 00000000 . 0201 . "
             "00 . 05 . 44332211 . 1200 3C00 . 0400 0800 3000 3400 3600 3700 3800 . 6*--");
  const MQC_ClassifierTemplate zero = {};
  expectCompact(method, zero,
                "16000000 . 1200 2C00 . 0000 0400 5*0000 . 12000000 . 04000000 20000000 32*00");
  expectFull(method, zero,
             "04000000 . C4FFFFFF . 00000000 . 04000000 20000000 32*00 . 12*00 . "
             "1200 3C00 . 0400 0800 3000 3400 3600 3700 3800 . 6*--");
}
