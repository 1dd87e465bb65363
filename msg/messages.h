#ifndef MSG_MESSAGES_H
#define MSG_MESSAGES_H

// All that a message is: the slots of its record in order, and its row in the roll call below.

#include "codec/shared_tables.h"

// Templates, policy nodes and instances, rule MAC.

SLOTS(MQC_ClassifierTemplate, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6))
SLOTS(MQC_BehaviorTemplate, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(MQC_PolicyTemplate, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
SLOTS(MQC_PolicyNode, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6))
SLOTS(MQC_PolicyInst, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11))
SLOTS(MQC_RuleMac, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3))

// Match rules.

SLOTS(MQC_match_acl, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
SLOTS(MQC_match_all, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15), SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19), SLOT(f20), SLOT(f21), SLOT(f22),
      SLOT(f23), SLOT(f24), SLOT(f25), SLOT(f26), SLOT(f27), SLOT(f28), SLOT(f29), SLOT(f30),
      SLOT(f31), SLOT(f32), SLOT(f33), SLOT(f34), SLOT(f35), SLOT(f36), SLOT(f37), SLOT(f38),
      SLOT(f39), SLOT(f40), SLOT(f41), SLOT(f42), SLOT(f43), SLOT(f44), SLOT(f45), SLOT(f46),
      SLOT(f47), SLOT(f48), SLOT(f49), SLOT(f50), SLOT(f51), SLOT(f52), SLOT(f53), SLOT(f54),
      SLOT(f55), SLOT(f56), SLOT(f57), SLOT(f58), SLOT(f59), SLOT(f60), SLOT(f61))
SLOTS(MQC_match_any, SLOT(head))
SLOTS(MQC_match_pri, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
SLOTS(MQC_match_ipid, SLOT(head), SLOT(f1), SLOT(f2))
SLOTS(MQC_match_tcp_flag, SLOT(head), SLOT(f1))
SLOTS(MQC_match_l2_proto, SLOT(head), SLOT(f1))
SLOTS(MQC_match_fwd_type, SLOT(head), SLOT(f1))
SLOTS(MQC_match_fwd_info, SLOT(head), SLOT(f1))
SLOTS(MQC_match_vlan, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
SLOTS(MQC_match_interface, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
SLOTS(MQC_match_rocev2, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15), SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19))
SLOTS(MQC_match_nexthop, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
SLOTS(MQC_match_local_id, SLOT(head), SLOT(f1))
SLOTS(MQC_match_tunnel, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15), SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19), SLOT(f20), SLOT(f21), SLOT(f22),
      SLOT(f23), SLOT(f24), SLOT(f25), SLOT(f26), SLOT(f27), SLOT(f28), SLOT(f29), SLOT(f30))
SLOTS(MQC_match_vxlan_rsv, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3))

// Actions.

SLOTS(MQC_act_filter, SLOT(head), SLOT(f1))
SLOTS(MQC_act_stat, SLOT(head), SLOT(f1), SLOT(f2))
SLOTS(MQC_act_vlan_stack, SLOT(head), SLOT(f1))
SLOTS(MQC_act_mac_learn, SLOT(head), SLOT(f1))
SLOTS(MQC_act_urpf, SLOT(head), SLOT(f1))
SLOTS(MQC_act_car, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6), SLOT(f7),
      SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14), SLOT(f15),
      SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19), SLOT(f20), SLOT(f21), SLOT(f22), SLOT(f23),
      SLOT(f24), SLOT(f25))
SLOTS(MQC_act_car_share, SLOT(head), SLOT(f1))
SLOTS(MQC_act_remark, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10))
SLOTS(MQC_act_mirror, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
SLOTS(MQC_act_redirect_nhp, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15), SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19), SLOT(f20), SLOT(f21), SLOT(f22),
      SLOT(f23), SLOT(f24), SLOT(f25), SLOT(f26), SLOT(f27))
SLOTS(MQC_act_redirect_mtnl, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
SLOTS(MQC_ACT_ANYFLOW, SLOT(head))
SLOTS(MqcActCommonData, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(MQC_ActCommonMsg, SLOT(f0))

// QoS groups, CAR and commands.

SLOTS(MQC_port_group, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
SLOTS(MQC_group_member, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15))
SLOTS(MQC_qos_car, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6), SLOT(f7),
      SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14), SLOT(f15),
      SLOT(f16), SLOT(f17))
SLOTS(MQC_tp_update_mode, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(MQC_tp_reset_stat, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
SLOTS(MQC_reset_aclfail_record, SLOT(f0))
SLOTS(MQC_reset_ipcar_statis, SLOT(f0), SLOT(f1), SLOT(f2))
SLOTS(MQC_notify_save_acl_res, SLOT(f0))

// Smoothing and batch.

SLOTS(MQC_SmoothMsg, SLOT(f0), SLOT(f1))
SLOTS(MQC_BrkBatchMsg, SLOT(f0), SLOT(f1), SLOT(f2), BUFFER(f3_len, f3))

// Hierarchical QoS: four messages of one schema, each with encoders of its own.

SLOTS(MQC_hqos_flow_que, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(MQC_hqos_user_que, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(MQC_hqos_policy, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(MQC_hqos_itp_policy, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))

// Spsa broker.

SLOTS(SPSA_BrkGlobalCfgMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8))
SLOTS(SPSA_BrkSaPolicyMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(SPSA_BrkSapActMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8))
SLOTS(SPSA_BrkIfCfgMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
SLOTS(SPSA_BrkWhiteListMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))

/// Every message once, in the order of the methods' roll call, with the line that its compact
/// encoder logs: BOTH for those with a full encoding, COMPACT for those without.
#define MQC_MESSAGES(BOTH, COMPACT)    \
  BOTH(MQC_ClassifierTemplate, 1330)   \
  BOTH(MQC_BehaviorTemplate, 1467)     \
  BOTH(MQC_PolicyTemplate, 1666)       \
  BOTH(MQC_PolicyNode, 2037)           \
  BOTH(MQC_PolicyInst, 2248)           \
  BOTH(MQC_RuleMac, 2399)              \
  BOTH(MQC_match_acl, 2607)            \
  BOTH(MQC_match_all, 5879)            \
  BOTH(MQC_match_any, 2719)            \
  BOTH(MQC_match_pri, 2865)            \
  BOTH(MQC_match_ipid, 4945)           \
  BOTH(MQC_match_tcp_flag, 3024)       \
  BOTH(MQC_match_l2_proto, 3162)       \
  BOTH(MQC_match_fwd_type, 3300)       \
  BOTH(MQC_match_fwd_info, 3438)       \
  BOTH(MQC_match_vlan, 3606)           \
  BOTH(MQC_match_interface, 4776)      \
  BOTH(MQC_match_rocev2, 3960)         \
  BOTH(MQC_match_nexthop, 9482)        \
  BOTH(MQC_match_local_id, 5090)       \
  BOTH(MQC_match_tunnel, 4444)         \
  BOTH(MQC_match_vxlan_rsv, 4589)      \
  BOTH(MQC_act_filter, 5995)           \
  BOTH(MQC_act_stat, 6143)             \
  BOTH(MQC_act_vlan_stack, 6288)       \
  BOTH(MQC_act_mac_learn, 6426)        \
  BOTH(MQC_act_urpf, 6564)             \
  BOTH(MQC_act_car, 7093)              \
  BOTH(MQC_act_car_share, 7480)        \
  BOTH(MQC_act_remark, 7714)           \
  BOTH(MQC_act_mirror, 7860)           \
  BOTH(MQC_act_redirect_nhp, 9110)     \
  BOTH(MQC_act_redirect_mtnl, 9274)    \
  BOTH(MQC_ACT_ANYFLOW, 9804)          \
  BOTH(MQC_ActCommonMsg, 9916)         \
  BOTH(MQC_port_group, 10057)          \
  BOTH(MQC_group_member, 10358)        \
  BOTH(MQC_qos_car, 7367)              \
  BOTH(MQC_tp_update_mode, 9661)       \
  BOTH(MQC_tp_reset_stat, 8066)        \
  BOTH(MQC_reset_aclfail_record, 8173) \
  BOTH(MQC_reset_ipcar_statis, 8318)   \
  BOTH(MQC_notify_save_acl_res, 8448)  \
  BOTH(MQC_SmoothMsg, 8569)            \
  COMPACT(MQC_BrkBatchMsg, 10454)      \
  BOTH(MQC_hqos_flow_que, 10626)       \
  BOTH(MQC_hqos_user_que, 10788)       \
  BOTH(MQC_hqos_policy, 10950)         \
  BOTH(MQC_hqos_itp_policy, 11112)     \
  BOTH(SPSA_BrkGlobalCfgMsg, 298)      \
  BOTH(SPSA_BrkSaPolicyMsg, 435)       \
  BOTH(SPSA_BrkSapActMsg, 673)         \
  BOTH(SPSA_BrkIfCfgMsg, 801)          \
  BOTH(SPSA_BrkWhiteListMsg, 1108)

#endif
