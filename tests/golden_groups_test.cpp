// QoS groups, CAR, commands, smoothing, batch and HQoS: records and their bytes side by side.

#include "wire.h"

using wire::expectBytes;
using wire::expectCompact;
using wire::SetIdl;
using wire::steps;

TEST(GoldenGroups, PortGroup) {
  const auto method = MqcFesIntf_qos_group_portSetIdl;
  expectCompact(method, MQC_port_group{}, "12000000 0E000400 10*00 0E000000");
  const MQC_port_group record = {.f0 = 1, .f1 = 2, .f2 = 3, .f3 = 4, .f4 = 5};
  expectBytes(method, record,
              "12000000 . 0E00 1800 . 0400 0800 0C00 1000 1400 . 0E000000 . " + steps<u32>(1, 5),
              "04000000 . E8FFFFFF . " + steps<u32>(1, 5) +
                  " . 0E00 1800 . 0400 0800 0C00 1000 1400 . 6*--");
}

TEST(GoldenGroups, GroupMember) {
  const auto method = MqcFesIntf_qos_group_memberSetIdl;
  expectCompact(method, MQC_group_member{},
                "28000000 . 2400 2C00 . 15*0000 0400 . 24000000 . 04000000 . 20000000 . 32*00");
  const MQC_group_member first = {.f0 = 0x11223344};
  expectCompact(method, first,
                "28000000 . 2400 3000 . 0400 14*0000 0800 . 24000000 . 44332211 . 04000000 . "
                "20000000 . 32*00");
  // clang-format off
  const MQC_group_member filled = {
      .f0 = 1, .f1 = 2, .f2 = 3, .f3 = 4, .f4 = 5, .f5 = 6, .f6 = 7, .f7 = 8, .f8 = 9, .f9 = 10,
      .f10 = 11, .f11 = 12, .f12 = 13, .f13 = 14, .f14 = 15, .f15 = {0x41, 0x42}};
  // clang-format on
  expectBytes(method, filled,
              "28000000 . 2400 6800 . " + steps<u16>(4, 16, 4) + " . 24000000 . " +
                  steps<u32>(1, 15) + " . 04000000 . 20000000 . 4142 30*00",
              "04000000 . 98FFFFFF . " + steps<u32>(1, 15) +
                  " . 04000000 20000000 4142 30*00 . 2400 6800 . " + steps<u16>(4, 16, 4));
}

TEST(GoldenGroups, QosCar) {
  const auto method = MqcFesIntf_qos_car_operSetIdl;
  expectCompact(method, MQC_qos_car{}, "2C000000 . 2800 0400 . 18*0000 . 28000000");
  // clang-format off
  const MQC_qos_car filled = {
      .f0 = 1, .f1 = 2, .f2 = 3, .f3 = 4, .f4 = 5, .f5 = 6, .f6 = 7, .f7 = 8, .f8 = 9, .f9 = 10,
      .f10 = 11, .f11 = 12, .f12 = 13, .f13 = 14, .f14 = 15, .f15 = 16, .f16 = 17, .f17 = 18};
  // clang-format on
  expectBytes(
      method, filled,
      "2C000000 . 2800 4C00 . " + steps<u16>(4, 18, 4) + " . 28000000 . " + steps<u32>(1, 18),
      "04000000 . B4FFFFFF . " + steps<u32>(1, 18) + " . 2800 4C00 . " + steps<u16>(4, 18, 4));
}

TEST(GoldenGroups, FourWords) {
  const SetIdl methods[] = {
      MqcFesIntf_act_hqos_flow_queueSetIdl, MqcFesIntf_act_hqos_user_queueSetIdl,
      MqcFesIntf_act_hqos_policySetIdl,     MqcFesIntf_act_hqos_itp_policySetIdl,
      MqcFesIntf_tp_update_modeSetIdl,      MqcFesIntf_SpsaBrkConfigIfCfgSetIdl};
  const MQC_hqos_flow_que third = {.f2 = 0x11223344};
  const MQC_hqos_flow_que filled = {.f0 = 1, .f1 = 2, .f2 = 3, .f3 = 4};
  for (const SetIdl& method : methods) {
    SCOPED_TRACE(&method - methods);
    expectCompact(method, MQC_hqos_flow_que{}, "10000000 0C000400 8*00 0C000000");
    expectCompact(method, third,
                  "10000000 . 0C00 0800 . 0000 0000 0400 0000 . 0C000000 . 44332211");
    expectBytes(method, filled,
                "10000000 . 0C00 1400 . 0400 0800 0C00 1000 . 0C000000 . " + steps<u32>(1, 4),
                "04000000 ECFFFFFF 01000000 02000000 03000000 04000000 0C001400 04000800 "
                "0C001000 . 4*--");
  }
}

TEST(GoldenCommands, ResetStat) {
  const auto method = MqcFesIntf_tp_reset_stat_cmdSetIdl;
  expectCompact(method, MQC_tp_reset_stat{},
                "14000000 . 1000 2C00 . 0400 5*0000 . 10000000 . 04000000 20000000 32*00");
  const MQC_tp_reset_stat record = {
      .f0 = {0x41, 0x42}, .f1 = 1, .f2 = 2, .f3 = 3, .f4 = 4, .f5 = 5};
  expectBytes(method, record,
              "14000000 . 1000 4000 . 1800 0400 0800 0C00 1000 1400 . 10000000 . " +
                  steps<u32>(1, 5) + " . 04000000 . 20000000 . 4142 30*00",
              "04000000 . C0FFFFFF . 04000000 20000000 4142 30*00 . " + steps<u32>(1, 5) +
                  " . 1000 4000 . 0400 2C00 3000 3400 3800 3C00 . 4*--");
}

TEST(GoldenCommands, ResetIpcar) {
  const auto method = MqcFesIntf_reset_ipcar_statis_cmdSetIdl;
  const MQC_reset_ipcar_statis first = {.f1 = 0x11223344};
  expectCompact(method, first,
                "0E000000 . 0A00 3000 . 0800 0400 0000 . 0A000000 . 44332211 . 04000000 . "
                "20000000 . 32*00");
  const MQC_reset_ipcar_statis filled = {.f0 = {0x41, 0x42}, .f1 = 1, .f2 = 2};
  expectBytes(method, filled,
              "0E000000 . 0A00 3400 . 0C00 0400 0800 . 0A000000 . 01000000 . 02000000 . "
              "04000000 . 20000000 . 4142 30*00",
              "04000000 . CCFFFFFF . 04000000 20000000 4142 30*00 . 01000000 . 02000000 . "
              "0A00 3400 . 0400 2C00 3000 . 6*--");
}

TEST(GoldenCommands, ResetFailRecordAndSave) {
  const MQC_reset_aclfail_record reset = {.f0 = {0x41, 0x42}};
  expectBytes(MqcFesIntf_reset_acl_failrecord_cmdSetIdl, reset,
              "0A000000 06002C00 0400 06000000 04000000 20000000 . 4142 30*00",
              "04000000 . D4FFFFFF . 04000000 20000000 4142 30*00 . 0600 2C00 . 0400 . 2*--");
  const auto save = MqcFesIntf_notify_save_acl_res_cmdSetIdl;
  const MQC_notify_save_acl_res record = {.f0 = 0x11223344};
  expectCompact(save, MQC_notify_save_acl_res{}, "0A000000 06000400 0000 06000000");
  expectBytes(save, record, "0A000000 . 0600 0800 . 0400 . 06000000 . 44332211",
              "04000000 . F8FFFFFF . 44332211 . 0600 0800 . 0400 . 6*--");
}

TEST(GoldenSmoothing, Smooth) {
  const auto method = MqcFesIntf_AddMqcSmoothMsgSetIdl;
  expectBytes(method, MQC_SmoothMsg{}, "0C000000 08000400 00000000 08000000",
              "04000000 . F4FFFFFF . 8*00 . 0800 0C00 . 0400 0800");
  const MQC_SmoothMsg record = {.f0 = 1, .f1 = 2};
  expectBytes(method, record, "0C000000 . 0800 0C00 . 0400 0800 . 08000000 . 01000000 . 02000000",
              "04000000 . F4FFFFFF . 01000000 . 02000000 . 0800 0C00 . 0400 0800");
}

namespace {

const auto batch = MqcFesIntf_ProcMqcBatchMsgSetIdl;

u32 batchSize(const MQC_BrkBatchMsg& record) {
  return wire::describe(batch).pack(nullptr, &record);
}

}  // namespace

TEST(GoldenBatch, Buffer) {
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

TEST(GoldenBatch, NoBuffer) {
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

TEST(GoldenBatch, LongestSize) {
  const u8 byte = 0;
  EXPECT_EQ(4294967295u, batchSize({.f3_len = 4294967267, .f3 = &byte}));
  EXPECT_EQ(0u, batchSize({.f3_len = 4294967268, .f3 = &byte}));
  EXPECT_EQ(0u, batchSize({.f3_len = 4294967295, .f3 = &byte}));
  EXPECT_EQ(4294967295u, batchSize({.f0 = 1, .f1 = 2, .f2 = 3, .f3_len = 4294967255, .f3 = &byte}));
  EXPECT_EQ(0u, batchSize({.f0 = 1, .f1 = 2, .f2 = 3, .f3_len = 4294967256, .f3 = &byte}));
}

// The table size stays at its greatest while the buffer still goes out whole.
TEST(GoldenBatch, BufferPastTableSize) {
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
