/**
 * @file mqc_fes_intf.h
 * @brief Client interface of `MqcFesIntf`: modular QoS configuration for the forwarding service.
 *
 * Fill a method's request record and call one of the method's exports. The library hands the
 * record to the platform's RPC runtime, which encodes and delivers it.
 *
 * Every method `<m>` with request record `<Type>` has four exports:
 *
 *     u32  MqcFesIntf_<m>(const <Type>* req, void* opt);
 *     u32  MqcFesIntf_<m>_async(const <Type>* req, RpcAsyncCallback cb, void* userData, void* opt);
 *     u32  MqcFesIntf_<m>_oneway(const <Type>* req, void* opt);
 *     void MqcFesIntf_<m>SetIdl(IdlMsgDesc* desc);
 *
 * See MQC_FES_INTF_METHODS for the methods and MQC_DECLARE_METHOD for the contract of the four.
 *
 * **Records.** Fixed layout, natural alignment, fields in slot order. A field `f<slot>` is named
 * after its slot in the message's vtable; its meaning is defined by the service. Padding never
 * reaches the wire. An array is always sent whole. Values are in host byte order. Each record's
 * line states its size, the range of its compact encoding, and the bytes of its full encoding with
 * the buffer to provide for them. The upper bounds are constants: `<Type>_COMPACT_MAX` is the
 * longest compact encoding, `<Type>_FULL_MAX` the buffer for the full one.
 *
 * **Threads.** Any thread may call any export at any time. A record must not change during a call.
 *
 * **Ownership.** The caller owns the record, and the buffer a record points at, until the call
 * returns. The library keeps and frees nothing.
 */
#ifndef MQC_FES_INTF_H
#define MQC_FES_INTF_H

#include <stdint.h>

#include "mqc_methods.h"

#if UINTPTR_MAX != UINT64_MAX
#error "libtarn_cli_mqc is for 64-bit systems: records hold 8-byte pointers"
#endif

/** Version of this header: major * 10000 + minor * 100 + patch. */
#define MQC_FES_INTF_VERSION 10100

#ifdef __cplusplus
extern "C" {
#endif

/** Marks what the shared object exports; everything else in it is hidden. */
#define MQC_API __attribute__((visibility("default")))

typedef uint8_t u8;   /**< Unsigned, 1 byte. */
typedef uint16_t u16; /**< Unsigned, 2 bytes. */
typedef uint32_t u32; /**< Unsigned, 4 bytes. */
typedef uint64_t u64; /**< Unsigned, 8 bytes. */

/** The library's only own status (EINVAL): a one-way message without request or handle. */
#define MQC_STATUS_INVALID 22u

/**
 * @defgroup runtime Records handed to the platform
 * What the RPC runtime and the log function get of a call. Callers need only RpcAsyncCallback.
 * @{
 */

/** The cursor a compact encoder writes through; owned by the encoder's caller. */
typedef struct PackBuf {
  u8* buf;   /**< Start of the output; the encoding is written from its first byte. */
  u32* pLen; /**< The output's capacity in bytes; read, never written. */
} PackBuf;

/**
 * A compact encoder.
 *
 * With a NULL cursor: returns the bytes that the compact encoding of req takes, 0 for a NULL req
 * (or a size past 32 bits); writes and logs nothing. A batch request with a pointer but no length
 * counts 8 bytes that are then not written. With a cursor: writes the encoding and returns its
 * length, or logs one parameter error and returns 0 when req or the output is NULL or the capacity
 * is below 4; a NULL pLen is a capacity of 0. The output must hold as many bytes as the size query
 * returned; only the minimum of 4 is checked. Safe from any thread.
 */
typedef u32 (*IdlPackFn)(PackBuf* cursor, const void* req);

/**
 * A full encoder: writes the full encoding of req at out and returns 0. It tests neither argument:
 * out must have the size that the full-size getter returns. Gaps, before the vtable and at the end
 * of the buffer, are not written. Safe from any thread.
 */
typedef u32 (*IdlPackFullFn)(u8* out, const void* req);

/** A full-size getter: the bytes to provide for the full encoding, a multiple of 8. */
typedef u32 (*IdlFullSizeFn)(void);

/** The descriptor: a method's encoders, in six pointer-sized slots. */
typedef struct IdlMsgDesc {
  void* slot0;            /**< Always NULL. */
  IdlPackFn pack;         /**< The compact encoder. */
  void* slot2;            /**< Always NULL. */
  void* slot3;            /**< Always NULL. */
  IdlPackFullFn packFull; /**< The full encoder; NULL for a method without one. */
  IdlFullSizeFn fullSize; /**< The full-size getter; NULL for a method without one. */
} IdlMsgDesc;

/** Identity of a method. */
typedef struct MethodId {
  const char* interfaceName; /**< "MqcFesIntf". */
  const char* methodName;    /**< For example "sendClassifierTemplate". */
} MethodId;

/**
 * The callback of an asynchronous call. The library passes it on and never calls it; the runtime
 * decides when and on which thread it runs.
 *
 * @param status   how the call ended
 * @param userData the value passed with the call
 */
typedef void (*RpcAsyncCallback)(u32 status, void* userData);

/** What an asynchronous call hands the runtime besides the request. Lives only for the call. */
typedef struct AsyncCallCtx {
  u64 reqSize;         /**< Size of the request record in bytes. */
  RpcAsyncCallback cb; /**< The caller's callback, unchanged; may be NULL. */
  void* userData;      /**< The caller's value for it, unchanged. */
} AsyncCallCtx;

/** The server address of an interface. */
typedef struct RpcServerAddr {
  u8 runtime[96];            /**< The RPC runtime's own; zero at load, not read or written here. */
  const char* interfaceName; /**< "MqcFesIntf". */
} RpcServerAddr;

/** Names the encoders in the platform's log. */
typedef struct LogModule {
  const char* module;    /**< "VELTA". */
  const char* subModule; /**< "VELTA_TORVAL_SERIAL". */
  u32 number;            /**< 0x6200. */
} LogModule;

/** The server address that every call passes; one per process, valid from load to unload. */
extern MQC_API RpcServerAddr g_stServerAddr_MqcFesIntf;

/** @} */

/**
 * @defgroup nested Shared nested records
 * Parts of many request records; each goes out as a table of its own.
 * @{
 */

/** The first member of every match rule request and of the rule MAC request. 24 bytes. */
typedef struct MqcRuleHead {
  u32 f0, f1, f2, f3, f4, f5;
} MqcRuleHead;

/** The first member of every action request except that of `ActCommonIntf`. 12 bytes. */
typedef struct MqcActHead {
  u32 f0, f1, f2;
} MqcActHead;

/** A 16-byte array that is a table of its own on the wire; element of `act_redirect_nhp`. */
typedef struct MqcBytes16 {
  u8 f0[16];
} MqcBytes16;

/** @} */

/**
 * @defgroup templates Templates, policy nodes and instances, rule MAC
 * @{
 */

/** Request of `sendClassifierTemplate`: 48 bytes; compact 66 to 82, full 82 (buffer 88). */
typedef struct MQC_ClassifierTemplate {
  u32 f0;
  u8 f1[32];
  u32 f2;
  u16 f3;
  u8 f4, f5;
  u32 f6;
} MQC_ClassifierTemplate;
enum { MQC_ClassifierTemplate_COMPACT_MAX = 82, MQC_ClassifierTemplate_FULL_MAX = 88 };

/** Request of `sendBehaviorTemplate`: 44 bytes; compact 60 to 72, full 72 (buffer 72). */
typedef struct MQC_BehaviorTemplate {
  u32 f0;
  u8 f1[32];
  u32 f2, f3;
} MQC_BehaviorTemplate;
enum { MQC_BehaviorTemplate_COMPACT_MAX = 72, MQC_BehaviorTemplate_FULL_MAX = 72 };

/** Request of `sendPolicyTemplate`: 48 bytes; compact 64 to 78, full 80 (buffer 80). */
typedef struct MQC_PolicyTemplate {
  u32 f0;
  u8 f1[32];
  u32 f2;
  u8 f3, f4;
  u32 f5;
} MQC_PolicyTemplate;
enum { MQC_PolicyTemplate_COMPACT_MAX = 78, MQC_PolicyTemplate_FULL_MAX = 80 };

/** Request of `sendPolicyNode`: 28 bytes; compact 26 to 52, full 54 (buffer 56). */
typedef struct MQC_PolicyNode {
  u32 f0, f1, f2, f3, f4;
  u16 f5;
  u32 f6;
} MQC_PolicyNode;
enum { MQC_PolicyNode_COMPACT_MAX = 52, MQC_PolicyNode_FULL_MAX = 56 };

/** Request of `sendPolicyInst`: 40 bytes; compact 36 to 71, full 72 (buffer 72). */
typedef struct MQC_PolicyInst {
  u32 f0, f1;
  u8 f2, f3;
  u32 f4, f5;
  u16 f6, f7;
  u32 f8, f9, f10;
  u8 f11;
} MQC_PolicyInst;
enum { MQC_PolicyInst_COMPACT_MAX = 71, MQC_PolicyInst_FULL_MAX = 72 };

/** Request of `sendRuleMac`: 40 bytes; compact 72 to 97, full 100 (buffer 104). */
typedef struct MQC_RuleMac {
  MqcRuleHead head;
  u8 f1[6];
  u8 f2[6];
  u8 f3;
} MQC_RuleMac;
enum { MQC_RuleMac_COMPACT_MAX = 97, MQC_RuleMac_FULL_MAX = 104 };

/** @} */

/**
 * @defgroup match Match rules
 * @{
 */

/** Request of `match_acl_oper`: 44 bytes; compact 48 to 92, full 92 (buffer 96). */
typedef struct MQC_match_acl {
  MqcRuleHead head;
  u32 f1, f2, f3, f4, f5;
} MQC_match_acl;
enum { MQC_match_acl_COMPACT_MAX = 92, MQC_match_acl_FULL_MAX = 96 };

/** Request of `match_all_oper`: 248 bytes; compact 240 to 448, full 448 (buffer 448). */
typedef struct MQC_match_all {
  MqcRuleHead head;
  u32 f1, f2;
  u8 f3, f4, f5, f6;
  u32 f7, f8;
  u8 f9[6];
  u8 f10[6];
  u8 f11[6];
  u8 f12[6];
  u32 f13;
  u16 f14, f15, f16, f17;
  u32 f18;
  u16 f19, f20;
  u32 f21, f22, f23, f24, f25, f26, f27, f28, f29, f30, f31, f32, f33, f34, f35, f36, f37, f38, f39,
      f40, f41, f42, f43, f44, f45;
  u8 f46[16];
  u16 f47;
  u8 f48, f49;
  u32 f50, f51, f52, f53;
  u16 f54, f55, f56, f57;
  u32 f58, f59, f60, f61;
} MQC_match_all;
enum { MQC_match_all_COMPACT_MAX = 448, MQC_match_all_FULL_MAX = 448 };

/** Request of `match_any_oper`: 24 bytes; compact 38 to 62, full 62 (buffer 64). */
typedef struct MQC_match_any {
  MqcRuleHead head;
} MQC_match_any;
enum { MQC_match_any_COMPACT_MAX = 62, MQC_match_any_FULL_MAX = 64 };

/** Request of `match_pri_oper`: 40 bytes; compact 46 to 86, full 86 (buffer 88). */
typedef struct MQC_match_pri {
  MqcRuleHead head;
  u32 f1, f2, f3, f4;
} MQC_match_pri;
enum { MQC_match_pri_COMPACT_MAX = 86, MQC_match_pri_FULL_MAX = 88 };

/** Request of `match_ipid_oper`: 28 bytes; compact 42 to 70, full 70 (buffer 72). */
typedef struct MQC_match_ipid {
  MqcRuleHead head;
  u16 f1, f2;
} MQC_match_ipid;
enum { MQC_match_ipid_COMPACT_MAX = 70, MQC_match_ipid_FULL_MAX = 72 };

/** Request of `match_tcp_flag_oper`: 28 bytes; compact 40 to 68, full 68 (buffer 72). */
typedef struct MQC_match_tcp_flag {
  MqcRuleHead head;
  u32 f1;
} MQC_match_tcp_flag;
enum { MQC_match_tcp_flag_COMPACT_MAX = 68, MQC_match_tcp_flag_FULL_MAX = 72 };

/** Request of `match_l2_proto_oper`: 28 bytes; compact 40 to 68, full 68 (buffer 72). */
typedef struct MQC_match_l2_proto {
  MqcRuleHead head;
  u32 f1;
} MQC_match_l2_proto;
enum { MQC_match_l2_proto_COMPACT_MAX = 68, MQC_match_l2_proto_FULL_MAX = 72 };

/** Request of `match_fwd_type_oper`: 28 bytes; compact 40 to 68, full 68 (buffer 72). */
typedef struct MQC_match_fwd_type {
  MqcRuleHead head;
  u32 f1;
} MQC_match_fwd_type;
enum { MQC_match_fwd_type_COMPACT_MAX = 68, MQC_match_fwd_type_FULL_MAX = 72 };

/** Request of `match_fwd_info_oper`: 28 bytes; compact 40 to 68, full 68 (buffer 72). */
typedef struct MQC_match_fwd_info {
  MqcRuleHead head;
  u32 f1;
} MQC_match_fwd_info;
enum { MQC_match_fwd_info_COMPACT_MAX = 68, MQC_match_fwd_info_FULL_MAX = 72 };

/** Request of `match_vlan_oper`: 40 bytes; compact 46 to 86, full 86 (buffer 88). */
typedef struct MQC_match_vlan {
  MqcRuleHead head;
  u32 f1, f2, f3, f4;
} MQC_match_vlan;
enum { MQC_match_vlan_COMPACT_MAX = 86, MQC_match_vlan_FULL_MAX = 88 };

/** Request of `match_interface_oper`: 36 bytes; compact 46 to 82, full 82 (buffer 88). */
typedef struct MQC_match_interface {
  MqcRuleHead head;
  u32 f1;
  u16 f2, f3;
  u32 f4;
} MQC_match_interface;
enum { MQC_match_interface_COMPACT_MAX = 82, MQC_match_interface_FULL_MAX = 88 };

/** Request of `match_rocev2_oper`: 96 bytes; compact 87 to 180, full 180 (buffer 184). */
typedef struct MQC_match_rocev2 {
  MqcRuleHead head;
  u32 f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14, f15, f16, f17;
  u8 f18;
  u8 f19[3];
} MQC_match_rocev2;
enum { MQC_match_rocev2_COMPACT_MAX = 180, MQC_match_rocev2_FULL_MAX = 184 };

/** Request of `match_nexthop_oper`: 52 bytes; compact 70 to 106, full 106 (buffer 112). */
typedef struct MQC_match_nexthop {
  MqcRuleHead head;
  u32 f1, f2, f3;
  u8 f4[16];
} MQC_match_nexthop;
enum { MQC_match_nexthop_COMPACT_MAX = 106, MQC_match_nexthop_FULL_MAX = 112 };

/** Request of `match_local_id_oper`: 28 bytes; compact 40 to 68, full 68 (buffer 72). */
typedef struct MQC_match_local_id {
  MqcRuleHead head;
  u32 f1;
} MQC_match_local_id;
enum { MQC_match_local_id_COMPACT_MAX = 68, MQC_match_local_id_FULL_MAX = 72 };

/** Request of `match_tunnel_oper`: 152 bytes; compact 224 to 314, full 314 (buffer 320). */
typedef struct MQC_match_tunnel {
  MqcRuleHead head;
  u32 f1, f2, f3, f4, f5;
  u8 f6[6];
  u8 f7[6];
  u8 f8[6];
  u8 f9[6];
  u32 f10, f11, f12, f13;
  u8 f14;
  u8 f15[3];
  u16 f16, f17, f18, f19;
  u8 f20[16];
  u32 f21;
  u8 f22[16];
  u32 f23;
  u8 f24;
  u8 f25[3];
  u32 f26;
  u16 f27, f28, f29, f30;
} MQC_match_tunnel;
enum { MQC_match_tunnel_COMPACT_MAX = 314, MQC_match_tunnel_FULL_MAX = 320 };

/**
 * Request of `match_vxlan_rsv_oper` and `match_vxlan_tran_rsv_oper`: 32 bytes; compact 55 to 84,
 * full 84 (buffer 88).
 */
typedef struct MQC_match_vxlan_rsv {
  MqcRuleHead head;
  u32 f1;
  u8 f2;
  u8 f3[3];
} MQC_match_vxlan_rsv;
enum { MQC_match_vxlan_rsv_COMPACT_MAX = 84, MQC_match_vxlan_rsv_FULL_MAX = 88 };

/** @} */

/**
 * @defgroup actions Actions
 * @{
 */

/** Request of `act_filter_oper`: 16 bytes; compact 34 to 50, full 52 (buffer 56). */
typedef struct MQC_act_filter {
  MqcActHead head;
  u32 f1;
} MQC_act_filter;
enum { MQC_act_filter_COMPACT_MAX = 50, MQC_act_filter_FULL_MAX = 56 };

/** Request of `act_stat_oper`: 20 bytes; compact 36 to 56, full 58 (buffer 64). */
typedef struct MQC_act_stat {
  MqcActHead head;
  u32 f1, f2;
} MQC_act_stat;
enum { MQC_act_stat_COMPACT_MAX = 56, MQC_act_stat_FULL_MAX = 64 };

/** Request of `act_vlan_stack_oper`: 16 bytes; compact 34 to 48, full 52 (buffer 56). */
typedef struct MQC_act_vlan_stack {
  MqcActHead head;
  u16 f1;
} MQC_act_vlan_stack;
enum { MQC_act_vlan_stack_COMPACT_MAX = 48, MQC_act_vlan_stack_FULL_MAX = 56 };

/** Request of `act_mac_learn_oper`: 16 bytes; compact 34 to 50, full 52 (buffer 56). */
typedef struct MQC_act_mac_learn {
  MqcActHead head;
  u32 f1;
} MQC_act_mac_learn;
enum { MQC_act_mac_learn_COMPACT_MAX = 50, MQC_act_mac_learn_FULL_MAX = 56 };

/** Request of `act_urpf_oper`: 16 bytes; compact 34 to 50, full 52 (buffer 56). */
typedef struct MQC_act_urpf {
  MqcActHead head;
  u32 f1;
} MQC_act_urpf;
enum { MQC_act_urpf_COMPACT_MAX = 50, MQC_act_urpf_FULL_MAX = 56 };

/** Request of `act_car_oper`: 84 bytes; compact 82 to 166, full 168 (buffer 168). */
typedef struct MQC_act_car {
  MqcActHead head;
  u32 f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14, f15;
  u8 f16, f17, f18, f19, f20, f21, f22, f23;
  u16 f24, f25;
} MQC_act_car;
enum { MQC_act_car_COMPACT_MAX = 166, MQC_act_car_FULL_MAX = 168 };

/** Request of `act_car_share_oper`: 16 bytes; compact 34 to 50, full 52 (buffer 56). */
typedef struct MQC_act_car_share {
  MqcActHead head;
  u32 f1;
} MQC_act_car_share;
enum { MQC_act_car_share_COMPACT_MAX = 50, MQC_act_car_share_FULL_MAX = 56 };

/** Request of `act_remark_oper`: 52 bytes; compact 52 to 104, full 106 (buffer 112). */
typedef struct MQC_act_remark {
  MqcActHead head;
  u32 f1, f2, f3, f4, f5, f6, f7, f8, f9, f10;
} MQC_act_remark;
enum { MQC_act_remark_COMPACT_MAX = 104, MQC_act_remark_FULL_MAX = 112 };

/** Request of `act_mirror_oper`: 28 bytes; compact 40 to 68, full 70 (buffer 72). */
typedef struct MQC_act_mirror {
  MqcActHead head;
  u32 f1, f2, f3, f4;
} MQC_act_mirror;
enum { MQC_act_mirror_COMPACT_MAX = 68, MQC_act_mirror_FULL_MAX = 72 };

/** Request of `act_redirect_nhp`: 676 bytes; compact 1182 to 1254, full 1364 (buffer 1368). */
typedef struct MQC_act_redirect_nhp {
  MqcActHead head;
  u32 f1, f2, f3, f4, f5, f6, f7, f8, f9;
  u32 f10[16];
  MqcBytes16 f11[16];
  u32 f12[16];
  u16 f13[16];
  u32 f14[16];
  u32 f15[2];
  u8 f16[2];
  u8 f17[2];
  u32 f18[2];
  MqcBytes16 f19[2];
  u32 f20, f21;
  u32 f22[16];
  u32 f23, f24, f25;
  u32 f26[2];
  u32 f27;
} MQC_act_redirect_nhp;
enum { MQC_act_redirect_nhp_COMPACT_MAX = 1254, MQC_act_redirect_nhp_FULL_MAX = 1368 };

/** Request of `ActRedirectMtnl`: 532 bytes; compact 568 to 588, full 590 (buffer 592). */
typedef struct MQC_act_redirect_mtnl {
  MqcActHead head;
  u32 f1, f2;
  u32 f3[64];
  u32 f4[64];
} MQC_act_redirect_mtnl;
enum { MQC_act_redirect_mtnl_COMPACT_MAX = 588, MQC_act_redirect_mtnl_FULL_MAX = 592 };

/** Request of `ActAnyFlow`: 12 bytes; compact 32 to 44, full 46 (buffer 48). */
typedef struct MQC_ACT_ANYFLOW {
  MqcActHead head;
} MQC_ACT_ANYFLOW;
enum { MQC_ACT_ANYFLOW_COMPACT_MAX = 44, MQC_ACT_ANYFLOW_FULL_MAX = 48 };

/** Nested record, of MQC_ActCommonMsg only. 16 bytes. */
typedef struct MqcActCommonData {
  u32 f0, f1, f2, f3;
} MqcActCommonData;

/** Request of `ActCommonIntf`: 16 bytes; compact 34 to 50, full 54 (buffer 56). */
typedef struct MQC_ActCommonMsg {
  MqcActCommonData f0;
} MQC_ActCommonMsg;
enum { MQC_ActCommonMsg_COMPACT_MAX = 50, MQC_ActCommonMsg_FULL_MAX = 56 };

/** @} */

/**
 * @defgroup groups QoS groups, CAR and commands
 * @{
 */

/** Request of `qos_group_port`: 20 bytes; compact 22 to 42, full 42 (buffer 48). */
typedef struct MQC_port_group {
  u32 f0, f1, f2, f3, f4;
} MQC_port_group;
enum { MQC_port_group_COMPACT_MAX = 42, MQC_port_group_FULL_MAX = 48 };

/** Request of `qos_group_member`: 92 bytes; compact 84 to 144, full 144 (buffer 144). */
typedef struct MQC_group_member {
  u32 f0, f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14;
  u8 f15[32];
} MQC_group_member;
enum { MQC_group_member_COMPACT_MAX = 144, MQC_group_member_FULL_MAX = 144 };

/** Request of `qos_car_oper`: 72 bytes; compact 48 to 120, full 120 (buffer 120). */
typedef struct MQC_qos_car {
  u32 f0, f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14, f15, f16, f17;
} MQC_qos_car;
enum { MQC_qos_car_COMPACT_MAX = 120, MQC_qos_car_FULL_MAX = 120 };

/** Request of `tp_update_mode`: 16 bytes; compact 20 to 36, full 36 (buffer 40). */
typedef struct MQC_tp_update_mode {
  u32 f0, f1, f2, f3;
} MQC_tp_update_mode;
enum { MQC_tp_update_mode_COMPACT_MAX = 36, MQC_tp_update_mode_FULL_MAX = 40 };

/** Request of `tp_reset_stat_cmd`: 52 bytes; compact 64 to 84, full 84 (buffer 88). */
typedef struct MQC_tp_reset_stat {
  u8 f0[32];
  u32 f1, f2, f3, f4, f5;
} MQC_tp_reset_stat;
enum { MQC_tp_reset_stat_COMPACT_MAX = 84, MQC_tp_reset_stat_FULL_MAX = 88 };

/** Request of `reset_acl_failrecord_cmd`: 32 bytes; compact 54, full 54 (buffer 56). */
typedef struct MQC_reset_aclfail_record {
  u8 f0[32];
} MQC_reset_aclfail_record;
enum { MQC_reset_aclfail_record_COMPACT_MAX = 54, MQC_reset_aclfail_record_FULL_MAX = 56 };

/** Request of `reset_ipcar_statis_cmd`: 40 bytes; compact 58 to 66, full 66 (buffer 72). */
typedef struct MQC_reset_ipcar_statis {
  u8 f0[32];
  u32 f1, f2;
} MQC_reset_ipcar_statis;
enum { MQC_reset_ipcar_statis_COMPACT_MAX = 66, MQC_reset_ipcar_statis_FULL_MAX = 72 };

/** Request of `notify_save_acl_res_cmd`: 4 bytes; compact 14 to 18, full 18 (buffer 24). */
typedef struct MQC_notify_save_acl_res {
  u32 f0;
} MQC_notify_save_acl_res;
enum { MQC_notify_save_acl_res_COMPACT_MAX = 18, MQC_notify_save_acl_res_FULL_MAX = 24 };

/** @} */

/**
 * @defgroup smoothing Smoothing and batch
 * @{
 */

/** Request of `AddMqcSmoothMsg`: 8 bytes; compact 16 to 24, full 24 (buffer 24). */
typedef struct MQC_SmoothMsg {
  u32 f0, f1;
} MQC_SmoothMsg;
enum { MQC_SmoothMsg_COMPACT_MAX = 24, MQC_SmoothMsg_FULL_MAX = 24 };

/**
 * Request of `ProcMqcBatchMsg`: 24 bytes; compact 20 to 32, plus 8 and the length when a buffer is
 * sent; no full encoding. The buffer is borrowed for the call and always sent whole; beyond 65,523
 * bytes, less 4 for each non-zero scalar, the 16-bit table size on the wire stays at 65,535.
 * Its COMPACT_MAX is without the buffer's bytes: add f3_len.
 */
typedef struct MQC_BrkBatchMsg {
  u32 f0, f1, f2;
  u32 f3_len;   /**< Bytes at f3; 0 sends no buffer. */
  const u8* f3; /**< The caller's bytes, only read; NULL sends no buffer. */
} MQC_BrkBatchMsg;
enum { MQC_BrkBatchMsg_COMPACT_MAX = 40 };

/** @} */

/**
 * @defgroup hqos Hierarchical QoS
 * @{
 */

/** Request of `act_hqos_flow_queue`: 16 bytes; compact 20 to 36, full 36 (buffer 40). */
typedef struct MQC_hqos_flow_que {
  u32 f0, f1, f2, f3;
} MQC_hqos_flow_que;
enum { MQC_hqos_flow_que_COMPACT_MAX = 36, MQC_hqos_flow_que_FULL_MAX = 40 };

/** Request of `act_hqos_user_queue`: 16 bytes; compact 20 to 36, full 36 (buffer 40). */
typedef struct MQC_hqos_user_que {
  u32 f0, f1, f2, f3;
} MQC_hqos_user_que;
enum { MQC_hqos_user_que_COMPACT_MAX = 36, MQC_hqos_user_que_FULL_MAX = 40 };

/** Request of `act_hqos_policy`: 16 bytes; compact 20 to 36, full 36 (buffer 40). */
typedef struct MQC_hqos_policy {
  u32 f0, f1, f2, f3;
} MQC_hqos_policy;
enum { MQC_hqos_policy_COMPACT_MAX = 36, MQC_hqos_policy_FULL_MAX = 40 };

/** Request of `act_hqos_itp_policy`: 16 bytes; compact 20 to 36, full 36 (buffer 40). */
typedef struct MQC_hqos_itp_policy {
  u32 f0, f1, f2, f3;
} MQC_hqos_itp_policy;
enum { MQC_hqos_itp_policy_COMPACT_MAX = 36, MQC_hqos_itp_policy_FULL_MAX = 40 };

/** @} */

/**
 * @defgroup broker Spsa broker
 * @{
 */

/** Request of `SpsaBrkSetGlobalCfg`: 64 bytes; compact 70 to 102, full 102 (buffer 104). */
typedef struct SPSA_BrkGlobalCfgMsg {
  u32 f0, f1;
  u8 f2[32];
  u32 f3, f4, f5, f6, f7, f8;
} SPSA_BrkGlobalCfgMsg;
enum { SPSA_BrkGlobalCfgMsg_COMPACT_MAX = 102, SPSA_BrkGlobalCfgMsg_FULL_MAX = 104 };

/** Request of `SpsaBrkConfigSaPolicy`: 44 bytes; compact 60 to 70, full 72 (buffer 72). */
typedef struct SPSA_BrkSaPolicyMsg {
  u32 f0, f1;
  u8 f2[32];
  u16 f3;
} SPSA_BrkSaPolicyMsg;
enum { SPSA_BrkSaPolicyMsg_COMPACT_MAX = 70, SPSA_BrkSaPolicyMsg_FULL_MAX = 72 };

/** Request of `SpsaBrkConfigSapAct`: 80 bytes; compact 111 to 124, full 126 (buffer 128). */
typedef struct SPSA_BrkSapActMsg {
  u32 f0, f1;
  u8 f2[32];
  u8 f3[33];
  u8 f4, f5, f6, f7, f8;
} SPSA_BrkSapActMsg;
enum { SPSA_BrkSapActMsg_COMPACT_MAX = 124, SPSA_BrkSapActMsg_FULL_MAX = 128 };

/** Request of `SpsaBrkConfigIfCfg`: 16 bytes; compact 20 to 36, full 36 (buffer 40). */
typedef struct SPSA_BrkIfCfgMsg {
  u32 f0, f1, f2, f3;
} SPSA_BrkIfCfgMsg;
enum { SPSA_BrkIfCfgMsg_COMPACT_MAX = 36, SPSA_BrkIfCfgMsg_FULL_MAX = 40 };

/** Request of `SpsaBrkConfigWhiteList`: 16 bytes; compact 20 to 33, full 36 (buffer 40). */
typedef struct SPSA_BrkWhiteListMsg {
  u32 f0, f1;
  u8 f2;
  u32 f3;
} SPSA_BrkWhiteListMsg;
enum { SPSA_BrkWhiteListMsg_COMPACT_MAX = 33, SPSA_BrkWhiteListMsg_FULL_MAX = 40 };

/** @} */

/**
 * @defgroup methods Methods
 * @{
 */

/**
 * Declares the four exports of a method.
 *
 * - `MqcFesIntf_<m>` sends req synchronously: returns when the runtime has an answer.
 * - `MqcFesIntf_<m>_async` sends req and returns; the runtime reports through cb.
 * - `MqcFesIntf_<m>_oneway` sends req as a message without an answer.
 * - `MqcFesIntf_<m>SetIdl` fills desc, which must not be NULL, with the method's encoders.
 *
 * The three calls return the runtime's status unchanged. Synchronous and asynchronous calls pass
 * a NULL req or a missing handle on to the runtime; a one-way call returns MQC_STATUS_INVALID for
 * either and sends nothing.
 *
 * - `req` is the request record, only read; it must not change until the call returns.
 * - `cb` and `userData` are passed to the runtime unchanged.
 * - `opt` is passed to `RPC_GetRpcInvoke` unchanged and not interpreted.
 *
 * Any thread may call any of them at any time.
 *
 * @param m    the method
 * @param Type its request record
 */
#define MQC_DECLARE_METHOD(m, Type)                                                        \
  MQC_API u32 MqcFesIntf_##m(const Type* req, void* opt);                                  \
  MQC_API u32 MqcFesIntf_##m##_async(const Type* req, RpcAsyncCallback cb, void* userData, \
                                     void* opt);                                           \
  MQC_API u32 MqcFesIntf_##m##_oneway(const Type* req, void* opt);                         \
  MQC_API void MqcFesIntf_##m##SetIdl(IdlMsgDesc* desc);

MQC_FES_INTF_METHODS(MQC_DECLARE_METHOD, MQC_DECLARE_METHOD)

#undef MQC_DECLARE_METHOD

/** @} */

#ifdef __cplusplus
}
#endif

#endif
