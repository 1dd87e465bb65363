/*
 * Size of every record, and offset and width of every member, as callers were built with them. The
 * library compiles only while the header keeps to them, whatever it is built for.
 */
#include <stddef.h>

#include "mqc_fes_intf.h"

#define LAYOUT(Type, size, members)                                                            \
  enum { Type##_isLaidOut = 1 };                                                               \
  {                                                                                            \
    typedef Type Record;                                                                       \
    _Static_assert(sizeof(Record) == (size) && members, #Type " is not " #size " bytes long"); \
  }
#define AT(member, offset, width)                                                        \
  HOLDS(offsetof(Record, member) == (offset) && sizeof(((Record*)0)->member) == (width), \
        #member " is not at offset " #offset " with width " #width)
#define HOLDS(condition, words)        \
  (sizeof(struct {                     \
     char c;                           \
     _Static_assert(condition, words); \
   }) == 1)

void recordLayout(void) {
  LAYOUT(PackBuf, 16, AT(buf, 0, 8) && AT(pLen, 8, 8))
  LAYOUT(IdlMsgDesc, 48,
         AT(slot0, 0, 8) && AT(pack, 8, 8) && AT(slot2, 16, 8) && AT(slot3, 24, 8) &&
             AT(packFull, 32, 8) && AT(fullSize, 40, 8))
  LAYOUT(MethodId, 16, AT(interfaceName, 0, 8) && AT(methodName, 8, 8))
  LAYOUT(AsyncCallCtx, 24, AT(reqSize, 0, 8) && AT(cb, 8, 8) && AT(userData, 16, 8))
  LAYOUT(RpcServerAddr, 104, AT(runtime, 0, 96) && AT(interfaceName, 96, 8))
  LAYOUT(LogModule, 24, AT(module, 0, 8) && AT(subModule, 8, 8) && AT(number, 16, 4))

  LAYOUT(MqcRuleHead, 24,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4) && AT(f4, 16, 4) &&
             AT(f5, 20, 4))
  LAYOUT(MqcActHead, 12, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4))
  LAYOUT(MqcBytes16, 16, AT(f0, 0, 16))
  LAYOUT(MqcActCommonData, 16, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4))

  LAYOUT(MQC_ClassifierTemplate, 48,
         AT(f0, 0, 4) && AT(f1, 4, 32) && AT(f2, 36, 4) && AT(f3, 40, 2) && AT(f4, 42, 1) &&
             AT(f5, 43, 1) && AT(f6, 44, 4))
  LAYOUT(MQC_BehaviorTemplate, 44, AT(f0, 0, 4) && AT(f1, 4, 32) && AT(f2, 36, 4) && AT(f3, 40, 4))
  LAYOUT(MQC_PolicyTemplate, 48,
         AT(f0, 0, 4) && AT(f1, 4, 32) && AT(f2, 36, 4) && AT(f3, 40, 1) && AT(f4, 41, 1) &&
             AT(f5, 44, 4))
  LAYOUT(MQC_PolicyNode, 28,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4) && AT(f4, 16, 4) &&
             AT(f5, 20, 2) && AT(f6, 24, 4))
  LAYOUT(MQC_PolicyInst, 40,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 1) && AT(f3, 9, 1) && AT(f4, 12, 4) &&
             AT(f5, 16, 4) && AT(f6, 20, 2) && AT(f7, 22, 2) && AT(f8, 24, 4) && AT(f9, 28, 4) &&
             AT(f10, 32, 4) && AT(f11, 36, 1))
  LAYOUT(MQC_RuleMac, 40, AT(head, 0, 24) && AT(f1, 24, 6) && AT(f2, 30, 6) && AT(f3, 36, 1))
  LAYOUT(MQC_match_acl, 44,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 4) && AT(f3, 32, 4) && AT(f4, 36, 4) &&
             AT(f5, 40, 4))
  LAYOUT(MQC_match_all, 248,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 4) && AT(f3, 32, 1) && AT(f4, 33, 1) &&
             AT(f5, 34, 1) && AT(f6, 35, 1) && AT(f7, 36, 4) && AT(f8, 40, 4) && AT(f9, 44, 6) &&
             AT(f10, 50, 6) && AT(f11, 56, 6) && AT(f12, 62, 6) && AT(f13, 68, 4) &&
             AT(f14, 72, 2) && AT(f15, 74, 2) && AT(f16, 76, 2) && AT(f17, 78, 2) &&
             AT(f18, 80, 4) && AT(f19, 84, 2) && AT(f20, 86, 2) && AT(f21, 88, 4) &&
             AT(f22, 92, 4) && AT(f23, 96, 4) && AT(f24, 100, 4) && AT(f25, 104, 4) &&
             AT(f26, 108, 4) && AT(f27, 112, 4) && AT(f28, 116, 4) && AT(f29, 120, 4) &&
             AT(f30, 124, 4) && AT(f31, 128, 4) && AT(f32, 132, 4) && AT(f33, 136, 4) &&
             AT(f34, 140, 4) && AT(f35, 144, 4) && AT(f36, 148, 4) && AT(f37, 152, 4) &&
             AT(f38, 156, 4) && AT(f39, 160, 4) && AT(f40, 164, 4) && AT(f41, 168, 4) &&
             AT(f42, 172, 4) && AT(f43, 176, 4) && AT(f44, 180, 4) && AT(f45, 184, 4) &&
             AT(f46, 188, 16) && AT(f47, 204, 2) && AT(f48, 206, 1) && AT(f49, 207, 1) &&
             AT(f50, 208, 4) && AT(f51, 212, 4) && AT(f52, 216, 4) && AT(f53, 220, 4) &&
             AT(f54, 224, 2) && AT(f55, 226, 2) && AT(f56, 228, 2) && AT(f57, 230, 2) &&
             AT(f58, 232, 4) && AT(f59, 236, 4) && AT(f60, 240, 4) && AT(f61, 244, 4))
  LAYOUT(MQC_match_any, 24, AT(head, 0, 24))
  LAYOUT(MQC_match_pri, 40,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 4) && AT(f3, 32, 4) && AT(f4, 36, 4))
  LAYOUT(MQC_match_ipid, 28, AT(head, 0, 24) && AT(f1, 24, 2) && AT(f2, 26, 2))
  LAYOUT(MQC_match_tcp_flag, 28, AT(head, 0, 24) && AT(f1, 24, 4))
  LAYOUT(MQC_match_l2_proto, 28, AT(head, 0, 24) && AT(f1, 24, 4))
  LAYOUT(MQC_match_fwd_type, 28, AT(head, 0, 24) && AT(f1, 24, 4))
  LAYOUT(MQC_match_fwd_info, 28, AT(head, 0, 24) && AT(f1, 24, 4))
  LAYOUT(MQC_match_vlan, 40,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 4) && AT(f3, 32, 4) && AT(f4, 36, 4))
  LAYOUT(MQC_match_interface, 36,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 2) && AT(f3, 30, 2) && AT(f4, 32, 4))
  LAYOUT(MQC_match_rocev2, 96,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 4) && AT(f3, 32, 4) && AT(f4, 36, 4) &&
             AT(f5, 40, 4) && AT(f6, 44, 4) && AT(f7, 48, 4) && AT(f8, 52, 4) && AT(f9, 56, 4) &&
             AT(f10, 60, 4) && AT(f11, 64, 4) && AT(f12, 68, 4) && AT(f13, 72, 4) &&
             AT(f14, 76, 4) && AT(f15, 80, 4) && AT(f16, 84, 4) && AT(f17, 88, 4) &&
             AT(f18, 92, 1) && AT(f19, 93, 3))
  LAYOUT(MQC_match_nexthop, 52,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 4) && AT(f3, 32, 4) && AT(f4, 36, 16))
  LAYOUT(MQC_match_local_id, 28, AT(head, 0, 24) && AT(f1, 24, 4))
  LAYOUT(MQC_match_tunnel, 152,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 4) && AT(f3, 32, 4) && AT(f4, 36, 4) &&
             AT(f5, 40, 4) && AT(f6, 44, 6) && AT(f7, 50, 6) && AT(f8, 56, 6) && AT(f9, 62, 6) &&
             AT(f10, 68, 4) && AT(f11, 72, 4) && AT(f12, 76, 4) && AT(f13, 80, 4) &&
             AT(f14, 84, 1) && AT(f15, 85, 3) && AT(f16, 88, 2) && AT(f17, 90, 2) &&
             AT(f18, 92, 2) && AT(f19, 94, 2) && AT(f20, 96, 16) && AT(f21, 112, 4) &&
             AT(f22, 116, 16) && AT(f23, 132, 4) && AT(f24, 136, 1) && AT(f25, 137, 3) &&
             AT(f26, 140, 4) && AT(f27, 144, 2) && AT(f28, 146, 2) && AT(f29, 148, 2) &&
             AT(f30, 150, 2))
  LAYOUT(MQC_match_vxlan_rsv, 32,
         AT(head, 0, 24) && AT(f1, 24, 4) && AT(f2, 28, 1) && AT(f3, 29, 3))
  LAYOUT(MQC_act_filter, 16, AT(head, 0, 12) && AT(f1, 12, 4))
  LAYOUT(MQC_act_stat, 20, AT(head, 0, 12) && AT(f1, 12, 4) && AT(f2, 16, 4))
  LAYOUT(MQC_act_vlan_stack, 16, AT(head, 0, 12) && AT(f1, 12, 2))
  LAYOUT(MQC_act_mac_learn, 16, AT(head, 0, 12) && AT(f1, 12, 4))
  LAYOUT(MQC_act_urpf, 16, AT(head, 0, 12) && AT(f1, 12, 4))
  LAYOUT(MQC_act_car, 84,
         AT(head, 0, 12) && AT(f1, 12, 4) && AT(f2, 16, 4) && AT(f3, 20, 4) && AT(f4, 24, 4) &&
             AT(f5, 28, 4) && AT(f6, 32, 4) && AT(f7, 36, 4) && AT(f8, 40, 4) && AT(f9, 44, 4) &&
             AT(f10, 48, 4) && AT(f11, 52, 4) && AT(f12, 56, 4) && AT(f13, 60, 4) &&
             AT(f14, 64, 4) && AT(f15, 68, 4) && AT(f16, 72, 1) && AT(f17, 73, 1) &&
             AT(f18, 74, 1) && AT(f19, 75, 1) && AT(f20, 76, 1) && AT(f21, 77, 1) &&
             AT(f22, 78, 1) && AT(f23, 79, 1) && AT(f24, 80, 2) && AT(f25, 82, 2))
  LAYOUT(MQC_act_car_share, 16, AT(head, 0, 12) && AT(f1, 12, 4))
  LAYOUT(MQC_act_remark, 52,
         AT(head, 0, 12) && AT(f1, 12, 4) && AT(f2, 16, 4) && AT(f3, 20, 4) && AT(f4, 24, 4) &&
             AT(f5, 28, 4) && AT(f6, 32, 4) && AT(f7, 36, 4) && AT(f8, 40, 4) && AT(f9, 44, 4) &&
             AT(f10, 48, 4))
  LAYOUT(MQC_act_mirror, 28,
         AT(head, 0, 12) && AT(f1, 12, 4) && AT(f2, 16, 4) && AT(f3, 20, 4) && AT(f4, 24, 4))
  LAYOUT(MQC_act_redirect_nhp, 676,
         AT(head, 0, 12) && AT(f1, 12, 4) && AT(f2, 16, 4) && AT(f3, 20, 4) && AT(f4, 24, 4) &&
             AT(f5, 28, 4) && AT(f6, 32, 4) && AT(f7, 36, 4) && AT(f8, 40, 4) && AT(f9, 44, 4) &&
             AT(f10, 48, 64) && AT(f11, 112, 256) && AT(f12, 368, 64) && AT(f13, 432, 32) &&
             AT(f14, 464, 64) && AT(f15, 528, 8) && AT(f16, 536, 2) && AT(f17, 538, 2) &&
             AT(f18, 540, 8) && AT(f19, 548, 32) && AT(f20, 580, 4) && AT(f21, 584, 4) &&
             AT(f22, 588, 64) && AT(f23, 652, 4) && AT(f24, 656, 4) && AT(f25, 660, 4) &&
             AT(f26, 664, 8) && AT(f27, 672, 4))
  LAYOUT(MQC_act_redirect_mtnl, 532,
         AT(head, 0, 12) && AT(f1, 12, 4) && AT(f2, 16, 4) && AT(f3, 20, 256) && AT(f4, 276, 256))
  LAYOUT(MQC_ACT_ANYFLOW, 12, AT(head, 0, 12))
  LAYOUT(MQC_ActCommonMsg, 16, AT(f0, 0, 16))
  LAYOUT(MQC_port_group, 20,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4) && AT(f4, 16, 4))
  LAYOUT(MQC_group_member, 92,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4) && AT(f4, 16, 4) &&
             AT(f5, 20, 4) && AT(f6, 24, 4) && AT(f7, 28, 4) && AT(f8, 32, 4) && AT(f9, 36, 4) &&
             AT(f10, 40, 4) && AT(f11, 44, 4) && AT(f12, 48, 4) && AT(f13, 52, 4) &&
             AT(f14, 56, 4) && AT(f15, 60, 32))
  LAYOUT(MQC_qos_car, 72,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4) && AT(f4, 16, 4) &&
             AT(f5, 20, 4) && AT(f6, 24, 4) && AT(f7, 28, 4) && AT(f8, 32, 4) && AT(f9, 36, 4) &&
             AT(f10, 40, 4) && AT(f11, 44, 4) && AT(f12, 48, 4) && AT(f13, 52, 4) &&
             AT(f14, 56, 4) && AT(f15, 60, 4) && AT(f16, 64, 4) && AT(f17, 68, 4))
  LAYOUT(MQC_tp_update_mode, 16, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4))
  LAYOUT(MQC_tp_reset_stat, 52,
         AT(f0, 0, 32) && AT(f1, 32, 4) && AT(f2, 36, 4) && AT(f3, 40, 4) && AT(f4, 44, 4) &&
             AT(f5, 48, 4))
  LAYOUT(MQC_reset_aclfail_record, 32, AT(f0, 0, 32))
  LAYOUT(MQC_reset_ipcar_statis, 40, AT(f0, 0, 32) && AT(f1, 32, 4) && AT(f2, 36, 4))
  LAYOUT(MQC_notify_save_acl_res, 4, AT(f0, 0, 4))
  LAYOUT(MQC_SmoothMsg, 8, AT(f0, 0, 4) && AT(f1, 4, 4))
  LAYOUT(MQC_BrkBatchMsg, 24,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3_len, 12, 4) && AT(f3, 16, 8))
  LAYOUT(MQC_hqos_flow_que, 16, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4))
  LAYOUT(MQC_hqos_user_que, 16, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4))
  LAYOUT(MQC_hqos_policy, 16, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4))
  LAYOUT(MQC_hqos_itp_policy, 16, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4))
  LAYOUT(SPSA_BrkGlobalCfgMsg, 64,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 32) && AT(f3, 40, 4) && AT(f4, 44, 4) &&
             AT(f5, 48, 4) && AT(f6, 52, 4) && AT(f7, 56, 4) && AT(f8, 60, 4))
  LAYOUT(SPSA_BrkSaPolicyMsg, 44, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 32) && AT(f3, 40, 2))
  LAYOUT(SPSA_BrkSapActMsg, 80,
         AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 32) && AT(f3, 40, 33) && AT(f4, 73, 1) &&
             AT(f5, 74, 1) && AT(f6, 75, 1) && AT(f7, 76, 1) && AT(f8, 77, 1))
  LAYOUT(SPSA_BrkIfCfgMsg, 16, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 4) && AT(f3, 12, 4))
  LAYOUT(SPSA_BrkWhiteListMsg, 16, AT(f0, 0, 4) && AT(f1, 4, 4) && AT(f2, 8, 1) && AT(f3, 12, 4))

#define IS_LAID_OUT(method, Type) Type##_isLaidOut&&
  _Static_assert(MQC_FES_INTF_METHODS(IS_LAID_OUT, IS_LAID_OUT) 1, "every request has its row");
#undef IS_LAID_OUT
}
