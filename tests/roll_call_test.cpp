// All methods, one row each: sizes, names, lines, descriptors, the three call variants and
// parameter errors.

#include <algorithm>
#include <cstring>
#include <functional>

#include "recorder.h"
#include "wire.h"

using recorder::platform;

namespace {

using CallFn = u32 (*)(const void* req, void* opt);
using AsyncFn = u32 (*)(const void* req, RpcAsyncCallback cb, void* userData, void* opt);

struct Exports {
  const char* method;
  CallFn call;
  AsyncFn async;
  CallFn oneway;
  wire::SetIdl setIdl;
};

#define ROW(m, Type)                                                                              \
  {#m,                                                                                            \
   [](const void* req, void* opt) { return MqcFesIntf_##m(static_cast<const Type*>(req), opt); }, \
   [](const void* req, RpcAsyncCallback cb, void* userData, void* opt) {                          \
     return MqcFesIntf_##m##_async(static_cast<const Type*>(req), cb, userData, opt);             \
   },                                                                                             \
   [](const void* req, void* opt) {                                                               \
     return MqcFesIntf_##m##_oneway(static_cast<const Type*>(req), opt);                          \
   },                                                                                             \
   MqcFesIntf_##m##SetIdl},
const Exports allExports[] = {MQC_FES_INTF_METHODS(ROW, ROW)};
#undef ROW

struct Expected {
  const char* method;
  u32 recordSize;
  const char* encoder;
  u32 line;
  u32 compactLeast;  ///< every value zero
  u32 compactMost;   ///< every value non-zero, no buffer
  u32 fullWritten;
  u32 fullSize;  ///< 0 for a method without full encoding
};

const Expected rollCall[] = {
    {"sendClassifierTemplate", 48, "MQC_ClassifierTemplate_pack", 1330, 66, 82, 82, 88},
    {"sendBehaviorTemplate", 44, "MQC_BehaviorTemplate_pack", 1467, 60, 72, 72, 72},
    {"sendPolicyTemplate", 48, "MQC_PolicyTemplate_pack", 1666, 64, 78, 80, 80},
    {"sendPolicyNode", 28, "MQC_PolicyNode_pack", 2037, 26, 52, 54, 56},
    {"sendPolicyInst", 40, "MQC_PolicyInst_pack", 2248, 36, 71, 72, 72},
    {"sendRuleMac", 40, "MQC_RuleMac_pack", 2399, 72, 97, 100, 104},
    {"match_acl_oper", 44, "MQC_match_acl_pack", 2607, 48, 92, 92, 96},
    {"match_all_oper", 248, "MQC_match_all_pack", 5879, 240, 448, 448, 448},
    {"match_any_oper", 24, "MQC_match_any_pack", 2719, 38, 62, 62, 64},
    {"match_pri_oper", 40, "MQC_match_pri_pack", 2865, 46, 86, 86, 88},
    {"match_ipid_oper", 28, "MQC_match_ipid_pack", 4945, 42, 70, 70, 72},
    {"match_tcp_flag_oper", 28, "MQC_match_tcp_flag_pack", 3024, 40, 68, 68, 72},
    {"match_l2_proto_oper", 28, "MQC_match_l2_proto_pack", 3162, 40, 68, 68, 72},
    {"match_fwd_type_oper", 28, "MQC_match_fwd_type_pack", 3300, 40, 68, 68, 72},
    {"match_fwd_info_oper", 28, "MQC_match_fwd_info_pack", 3438, 40, 68, 68, 72},
    {"match_vlan_oper", 40, "MQC_match_vlan_pack", 3606, 46, 86, 86, 88},
    {"match_interface_oper", 36, "MQC_match_interface_pack", 4776, 46, 82, 82, 88},
    {"match_rocev2_oper", 96, "MQC_match_rocev2_pack", 3960, 87, 180, 180, 184},
    {"match_nexthop_oper", 52, "MQC_match_nexthop_pack", 9482, 70, 106, 106, 112},
    {"match_local_id_oper", 28, "MQC_match_local_id_pack", 5090, 40, 68, 68, 72},
    {"match_tunnel_oper", 152, "MQC_match_tunnel_pack", 4444, 224, 314, 314, 320},
    {"match_vxlan_rsv_oper", 32, "MQC_match_vxlan_rsv_pack", 4589, 55, 84, 84, 88},
    {"match_vxlan_tran_rsv_oper", 32, "MQC_match_vxlan_rsv_pack", 4589, 55, 84, 84, 88},
    {"act_filter_oper", 16, "MQC_act_filter_pack", 5995, 34, 50, 52, 56},
    {"act_stat_oper", 20, "MQC_act_stat_pack", 6143, 36, 56, 58, 64},
    {"act_vlan_stack_oper", 16, "MQC_act_vlan_stack_pack", 6288, 34, 48, 52, 56},
    {"act_mac_learn_oper", 16, "MQC_act_mac_learn_pack", 6426, 34, 50, 52, 56},
    {"act_urpf_oper", 16, "MQC_act_urpf_pack", 6564, 34, 50, 52, 56},
    {"act_car_oper", 84, "MQC_act_car_pack", 7093, 82, 166, 168, 168},
    {"act_car_share_oper", 16, "MQC_act_car_share_pack", 7480, 34, 50, 52, 56},
    {"act_remark_oper", 52, "MQC_act_remark_pack", 7714, 52, 104, 106, 112},
    {"act_mirror_oper", 28, "MQC_act_mirror_pack", 7860, 40, 68, 70, 72},
    {"act_redirect_nhp", 676, "MQC_act_redirect_nhp_pack", 9110, 1182, 1254, 1364, 1368},
    {"ActRedirectMtnl", 532, "MQC_act_redirect_mtnl_pack", 9274, 568, 588, 590, 592},
    {"ActAnyFlow", 12, "MQC_ACT_ANYFLOW_pack", 9804, 32, 44, 46, 48},
    {"ActCommonIntf", 16, "MQC_ActCommonMsg_pack", 9916, 34, 50, 54, 56},
    {"qos_group_port", 20, "MQC_port_group_pack", 10057, 22, 42, 42, 48},
    {"qos_group_member", 92, "MQC_group_member_pack", 10358, 84, 144, 144, 144},
    {"qos_car_oper", 72, "MQC_qos_car_pack", 7367, 48, 120, 120, 120},
    {"tp_update_mode", 16, "MQC_tp_update_mode_pack", 9661, 20, 36, 36, 40},
    {"tp_reset_stat_cmd", 52, "MQC_tp_reset_stat_pack", 8066, 64, 84, 84, 88},
    {"reset_acl_failrecord_cmd", 32, "MQC_reset_aclfail_record_pack", 8173, 54, 54, 54, 56},
    {"reset_ipcar_statis_cmd", 40, "MQC_reset_ipcar_statis_pack", 8318, 58, 66, 66, 72},
    {"notify_save_acl_res_cmd", 4, "MQC_notify_save_acl_res_pack", 8448, 14, 18, 18, 24},
    {"AddMqcSmoothMsg", 8, "MQC_SmoothMsg_pack", 8569, 16, 24, 24, 24},
    {"ProcMqcBatchMsg", 24, "MQC_BrkBatchMsg_pack", 10454, 20, 32, 0, 0},
    {"act_hqos_flow_queue", 16, "MQC_hqos_flow_que_pack", 10626, 20, 36, 36, 40},
    {"act_hqos_user_queue", 16, "MQC_hqos_user_que_pack", 10788, 20, 36, 36, 40},
    {"act_hqos_policy", 16, "MQC_hqos_policy_pack", 10950, 20, 36, 36, 40},
    {"act_hqos_itp_policy", 16, "MQC_hqos_itp_policy_pack", 11112, 20, 36, 36, 40},
    {"SpsaBrkSetGlobalCfg", 64, "SPSA_BrkGlobalCfgMsg_pack", 298, 70, 102, 102, 104},
    {"SpsaBrkConfigSaPolicy", 44, "SPSA_BrkSaPolicyMsg_pack", 435, 60, 70, 72, 72},
    {"SpsaBrkConfigSapAct", 80, "SPSA_BrkSapActMsg_pack", 673, 111, 124, 126, 128},
    {"SpsaBrkConfigIfCfg", 16, "SPSA_BrkIfCfgMsg_pack", 801, 20, 36, 36, 40},
    {"SpsaBrkConfigWhiteList", 16, "SPSA_BrkWhiteListMsg_pack", 1108, 20, 33, 36, 40},
};

/// A record of any method: every byte the given one, but no buffer behind the batch request.
class Record {
 public:
  Record(const Expected& row, u8 byte) : bytes_(row.recordSize, byte) {
    if (row.fullSize == 0) std::memset(bytes_.data() + offsetof(MQC_BrkBatchMsg, f3), 0, 8);
  }
  const void* get() const { return bytes_.data(); }

 private:
  std::vector<u8> bytes_;
};

class RollCall : public testing::TestWithParam<std::size_t> {
 protected:
  RollCall() { platform = {}; }

  const Expected& row = rollCall[GetParam()];
  const Exports& exports = allExports[GetParam()];
  const IdlMsgDesc desc = wire::describe(exports.setIdl);
};

void callback(u32, void*) {}

}  // namespace

TEST(RollCallOrder, IsFixed) {
  ASSERT_EQ(std::size(rollCall), std::size(allExports));
  for (std::size_t i = 0; i < std::size(rollCall); ++i) {
    EXPECT_STREQ(rollCall[i].method, allExports[i].method);
  }
}

TEST_P(RollCall, DescriptorHoldsTheEncoders) {
  EXPECT_EQ(nullptr, desc.slot0);
  EXPECT_EQ(nullptr, desc.slot2);
  EXPECT_EQ(nullptr, desc.slot3);
  ASSERT_NE(nullptr, desc.pack);
  EXPECT_EQ(row.fullSize != 0, desc.packFull != nullptr);
  EXPECT_EQ(row.fullSize != 0, desc.fullSize != nullptr);
}

TEST_P(RollCall, SizesSpanTheirRange) {
  EXPECT_EQ(row.compactLeast, wire::compact(desc, Record(row, 0).get()).size());
  EXPECT_EQ(row.compactMost, wire::compact(desc, Record(row, 0xFF).get()).size());
  EXPECT_EQ(row.compactLeast, desc.pack(nullptr, Record(row, 0).get()));
  EXPECT_EQ(row.compactMost, desc.pack(nullptr, Record(row, 0xFF).get()));
  if (row.fullSize == 0) return;
  EXPECT_EQ(row.fullSize, desc.fullSize());
  const wire::Bytes out = wire::full(desc, Record(row, 0xFF).get(), 0xA5);
  const wire::Bytes other = wire::full(desc, Record(row, 0xFF).get(), 0x5A);
  EXPECT_NE(0xA5, out[row.fullWritten - 1]) << "the vtable's last byte is never this one";
  for (u32 i = row.fullWritten; i < row.fullSize; ++i) {
    EXPECT_EQ(0xA5, out[i]) << "written past the end at " << i;
    EXPECT_EQ(0x5A, other[i]) << "written past the end at " << i;
  }
}

// The slot arrays of the message and of its head, or common data, are cleared by calls that name
// the exact room. The 18 tables of the redirect's vectors have no slot that may be absent.
TEST_P(RollCall, SlotArraysAreClearedByThePlatform) {
  wire::Guarded out(row.compactMost, 0xA5);
  u32 capacity = row.compactMost;
  PackBuf cursor = {out.data(), &capacity};
  desc.pack(&cursor, Record(row, 0).get());
  const std::size_t firstHead = 5, behindHeads = 36;  // sendRuleMac to ActCommonIntf
  const bool hasHead = GetParam() >= firstHead && GetParam() < behindHeads;
  ASSERT_EQ(hasHead ? 2u : 1u, platform.cleared.size());
  const u8* vtable = out.data() + 4;
  for (const recorder::Cleared& call : platform.cleared) {
    const std::size_t vtableSize = vtable[0] + 256u * vtable[1];
    const std::size_t tableSize = vtable[2] + 256u * vtable[3];
    EXPECT_EQ(vtable + 4, call.dest);
    EXPECT_EQ(vtableSize - 4, call.max);
    EXPECT_EQ(vtableSize - 4, call.count);
    EXPECT_EQ(0, call.value);
    vtable += vtableSize + tableSize;
  }
}

TEST(BatchBuffer, IsCopiedByThePlatform) {
  platform = {};
  const u8 bytes[5] = {1, 2, 3, 4, 5};
  const MQC_BrkBatchMsg record = {.f0 = 1, .f3_len = 5, .f3 = bytes};
  u8 out[64];
  u32 capacity = sizeof out;
  PackBuf cursor = {out, &capacity};
  EXPECT_EQ(37u, wire::describe(MqcFesIntf_ProcMqcBatchMsgSetIdl).pack(&cursor, &record));
  ASSERT_EQ(1u, platform.copied.size());
  EXPECT_EQ(out + 32, platform.copied[0].dest);
  EXPECT_EQ(5u, platform.copied[0].max);
  EXPECT_EQ(5u, platform.copied[0].count);
}

TEST_P(RollCall, CallsHandTheRequestToTheRuntime) {
  const Record record(row, 0);
  int option = 0;
  int user = 0;
  platform.status = 0xFEDCBA98;
  EXPECT_EQ(platform.status, exports.call(record.get(), &option));
  EXPECT_EQ(platform.status, exports.async(record.get(), callback, &user, &option));
  EXPECT_EQ(platform.status, exports.oneway(record.get(), &option));

  ASSERT_EQ(3u, platform.sent.size());
  const char* const functions[] = {"sync", "async", "oneway"};
  const u64 sizes[] = {row.recordSize, row.recordSize, 0};
  for (std::size_t i = 0; i < 3; ++i) {
    const recorder::Sent& sent = platform.sent[i];
    EXPECT_EQ(functions[i], sent.function);
    EXPECT_EQ(platform.handle, sent.handle);
    EXPECT_EQ(record.get(), sent.req);
    EXPECT_EQ(sizes[i], sent.reqSize);
    EXPECT_STREQ("MqcFesIntf", sent.method.interfaceName);
    EXPECT_STREQ(row.method, sent.method.methodName);
    EXPECT_EQ(0, std::memcmp(&desc, &sent.desc, sizeof desc));
    EXPECT_EQ(&g_stServerAddr_MqcFesIntf, platform.addresses[i]);
    EXPECT_EQ(&option, platform.options[i]);
  }
  EXPECT_EQ(callback, platform.sent[1].cb);
  EXPECT_EQ(&user, platform.sent[1].userData);
}

TEST_P(RollCall, OnlyOnewayRefusesNull) {
  const Record record(row, 0);
  EXPECT_EQ(0u, exports.call(nullptr, nullptr));
  EXPECT_EQ(0u, exports.async(nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(2u, platform.sent.size());
  EXPECT_EQ(22u, exports.oneway(nullptr, nullptr));
  EXPECT_EQ(3u, platform.addresses.size()) << "the handle is asked for all the same";
  platform.handle = nullptr;
  EXPECT_EQ(22u, exports.oneway(record.get(), nullptr));
  EXPECT_EQ(2u, platform.sent.size());
  EXPECT_EQ(0u, exports.call(record.get(), nullptr));
  EXPECT_EQ(0u, exports.async(record.get(), nullptr, nullptr, nullptr));
  EXPECT_EQ(4u, platform.sent.size());
}

TEST_P(RollCall, ParameterErrorIsLogged) {
  const Record record(row, 0);
  wire::Guarded out(3, 0xA5);
  u32 capacity = 3;
  PackBuf cursor = {out.data(), &capacity};
  EXPECT_EQ(0u, desc.pack(&cursor, record.get()));
  EXPECT_EQ(wire::Bytes(3, 0xA5), out.bytes());
  ASSERT_EQ(1u, platform.logged.size());
  const recorder::Logged& logged = platform.logged[0];
  EXPECT_STREQ("VELTA", logged.module.module);
  EXPECT_STREQ("VELTA_TORVAL_SERIAL", logged.module.subModule);
  EXPECT_EQ(0x6200u, logged.module.number);
  EXPECT_EQ(2u, logged.level);
  EXPECT_EQ(22u, logged.code);
  EXPECT_EQ("", logged.text);
  EXPECT_EQ(row.line, logged.line);
  EXPECT_EQ(row.encoder, logged.function);
  EXPECT_EQ("[VELTA]:Param invalid(nonNull, 3, nonNull)", logged.message);

  EXPECT_EQ(0u, desc.pack(nullptr, nullptr));
  EXPECT_EQ(1u, platform.logged.size()) << "a size query logs nothing";
}

INSTANTIATE_TEST_SUITE_P(All, RollCall, testing::Range<std::size_t>(0, std::size(rollCall)),
                         [](const auto& test) { return std::string(rollCall[test.param].method); });
