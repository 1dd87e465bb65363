/**
 * @file mqc_methods.h
 * @brief The methods of `MqcFesIntf` by name; `mqc_fes_intf.h` includes it.
 *
 * It names the request records without declaring them: in a source with the code that flatc
 * generates from the schema, the names are those of the tables.
 */
#ifndef MQC_METHODS_H
#define MQC_METHODS_H

/** Version of this header: major * 10000 + minor * 100 + patch. */
#define MQC_METHODS_VERSION 10100

/**
 * @ingroup methods
 * The roll call: the methods in their fixed order, a row each: method name, request record.
 *
 * The order is part of the interface: append, never insert.
 *
 * @param BOTH    macro applied to the methods whose requests have both encodings
 * @param COMPACT macro applied to those whose requests have the compact encoding only
 */
#define MQC_FES_INTF_METHODS(BOTH, COMPACT)                \
  BOTH(sendClassifierTemplate, MQC_ClassifierTemplate)     \
  BOTH(sendBehaviorTemplate, MQC_BehaviorTemplate)         \
  BOTH(sendPolicyTemplate, MQC_PolicyTemplate)             \
  BOTH(sendPolicyNode, MQC_PolicyNode)                     \
  BOTH(sendPolicyInst, MQC_PolicyInst)                     \
  BOTH(sendRuleMac, MQC_RuleMac)                           \
  BOTH(match_acl_oper, MQC_match_acl)                      \
  BOTH(match_all_oper, MQC_match_all)                      \
  BOTH(match_any_oper, MQC_match_any)                      \
  BOTH(match_pri_oper, MQC_match_pri)                      \
  BOTH(match_ipid_oper, MQC_match_ipid)                    \
  BOTH(match_tcp_flag_oper, MQC_match_tcp_flag)            \
  BOTH(match_l2_proto_oper, MQC_match_l2_proto)            \
  BOTH(match_fwd_type_oper, MQC_match_fwd_type)            \
  BOTH(match_fwd_info_oper, MQC_match_fwd_info)            \
  BOTH(match_vlan_oper, MQC_match_vlan)                    \
  BOTH(match_interface_oper, MQC_match_interface)          \
  BOTH(match_rocev2_oper, MQC_match_rocev2)                \
  BOTH(match_nexthop_oper, MQC_match_nexthop)              \
  BOTH(match_local_id_oper, MQC_match_local_id)            \
  BOTH(match_tunnel_oper, MQC_match_tunnel)                \
  BOTH(match_vxlan_rsv_oper, MQC_match_vxlan_rsv)          \
  BOTH(match_vxlan_tran_rsv_oper, MQC_match_vxlan_rsv)     \
  BOTH(act_filter_oper, MQC_act_filter)                    \
  BOTH(act_stat_oper, MQC_act_stat)                        \
  BOTH(act_vlan_stack_oper, MQC_act_vlan_stack)            \
  BOTH(act_mac_learn_oper, MQC_act_mac_learn)              \
  BOTH(act_urpf_oper, MQC_act_urpf)                        \
  BOTH(act_car_oper, MQC_act_car)                          \
  BOTH(act_car_share_oper, MQC_act_car_share)              \
  BOTH(act_remark_oper, MQC_act_remark)                    \
  BOTH(act_mirror_oper, MQC_act_mirror)                    \
  BOTH(act_redirect_nhp, MQC_act_redirect_nhp)             \
  BOTH(ActRedirectMtnl, MQC_act_redirect_mtnl)             \
  BOTH(ActAnyFlow, MQC_ACT_ANYFLOW)                        \
  BOTH(ActCommonIntf, MQC_ActCommonMsg)                    \
  BOTH(qos_group_port, MQC_port_group)                     \
  BOTH(qos_group_member, MQC_group_member)                 \
  BOTH(qos_car_oper, MQC_qos_car)                          \
  BOTH(tp_update_mode, MQC_tp_update_mode)                 \
  BOTH(tp_reset_stat_cmd, MQC_tp_reset_stat)               \
  BOTH(reset_acl_failrecord_cmd, MQC_reset_aclfail_record) \
  BOTH(reset_ipcar_statis_cmd, MQC_reset_ipcar_statis)     \
  BOTH(notify_save_acl_res_cmd, MQC_notify_save_acl_res)   \
  BOTH(AddMqcSmoothMsg, MQC_SmoothMsg)                     \
  COMPACT(ProcMqcBatchMsg, MQC_BrkBatchMsg)                \
  BOTH(act_hqos_flow_queue, MQC_hqos_flow_que)             \
  BOTH(act_hqos_user_queue, MQC_hqos_user_que)             \
  BOTH(act_hqos_policy, MQC_hqos_policy)                   \
  BOTH(act_hqos_itp_policy, MQC_hqos_itp_policy)           \
  BOTH(SpsaBrkSetGlobalCfg, SPSA_BrkGlobalCfgMsg)          \
  BOTH(SpsaBrkConfigSaPolicy, SPSA_BrkSaPolicyMsg)         \
  BOTH(SpsaBrkConfigSapAct, SPSA_BrkSapActMsg)             \
  BOTH(SpsaBrkConfigIfCfg, SPSA_BrkIfCfgMsg)               \
  BOTH(SpsaBrkConfigWhiteList, SPSA_BrkWhiteListMsg)

/** A method, to be counted. */
#define MQC_ONE(m, Type) +1
/** The number of methods. */
enum { MQC_METHOD_COUNT = 0 MQC_FES_INTF_METHODS(MQC_ONE, MQC_ONE) };
#undef MQC_ONE

#endif
