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
 * after its slot in the message's vtable; what it means is the service's. Bytes that are padding
 * never reach the wire. An array is always sent whole. Values are in host byte order, whatever the
 * wire's. Each record's line tells its size, the range of its compact encoding, and the bytes of
 * its full encoding with the buffer to provide for them.
 *
 * **Threads.** Any thread may call any export at any time. A record must not change during a call.
 *
 * **Ownership.** The caller owns the record, and the buffer a record points at, until the call
 * returns. The library keeps and frees nothing.
 */
#ifndef MQC_FES_INTF_H
#define MQC_FES_INTF_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Marks what the shared object exports; everything else in it is hidden. */
#define MQC_API __attribute__((visibility("default")))

typedef uint8_t u8;   /**< Unsigned, 1 byte. */
typedef uint16_t u16; /**< Unsigned, 2 bytes. */
typedef uint32_t u32; /**< Unsigned, 4 bytes. */
typedef uint64_t u64; /**< Unsigned, 8 bytes. */

/** The one status of the library's own (EINVAL): a one-way message without request or handle. */
#define MQC_STATUS_INVALID 22u

/**
 * @defgroup runtime Records handed to the platform
 * What the RPC runtime and the log function see of a call. Callers need only RpcAsyncCallback.
 * @{
 */

/** The cursor a compact encoder writes through; owned by whoever calls the encoder. */
typedef struct PackBuf {
  u8* buf;   /**< Start of the output; the encoding is written from its first byte. */
  u32* pLen; /**< The output's capacity in bytes; read, never written. */
} PackBuf;

/**
 * A compact encoder.
 *
 * With a NULL cursor: returns the bytes that the compact encoding of req takes, 0 for a NULL req
 * (or a size past 32 bits); writes and logs nothing. With a cursor: writes the encoding and
 * returns its length, or logs one parameter error and returns 0 when req or the output is NULL or
 * the capacity is below 4. The output must hold as many bytes as the size query told; no more than
 * the 4 is checked. Safe from any thread.
 */
typedef u32 (*IdlPackFn)(PackBuf* cursor, const void* req);

/**
 * A full encoder: writes the full encoding of req at out and returns 0. It tests neither argument:
 * out must hold the full-size getter's bytes. Bytes between fields and vtable, and at the end of
 * the buffer, that the format leaves open stay as they were. Safe from any thread.
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
 * The callback of an asynchronous call. The library passes it on and never calls it; when and on
 * which thread it runs is the runtime's.
 *
 * @param status   how the call ended
 * @param userData the value given with the call
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

/** The server address every call names; one per process, alive from load to unload. */
extern MQC_API RpcServerAddr g_stServerAddr_MqcFesIntf;

/** @} */

/**
 * @defgroup nested Shared nested records
 * Parts of many request records; each goes out as a table of its own.
 * @{
 */

/** Opens every match rule request and the rule MAC request. 24 bytes. */
typedef struct MqcRuleHead {
  u32 f0, f1, f2, f3, f4, f5;
} MqcRuleHead;

/** Opens every action request but that of `ActCommonIntf`. 12 bytes. */
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

/** @} */

/**
 * @defgroup methods Methods
 * @{
 */

/**
 * The roll call: the methods in their fixed order, a row each: method name, request record.
 *
 * BOTH is applied to the methods whose requests have both encodings, COMPACT to those that have
 * the compact encoding only. The order is part of the interface: append, never insert.
 */
#define MQC_FES_INTF_METHODS(BOTH, COMPACT) BOTH(sendClassifierTemplate, MQC_ClassifierTemplate)

/**
 * Declares the four exports of a method.
 *
 * - `MqcFesIntf_<m>` sends req synchronously: returns when the runtime has an answer.
 * - `MqcFesIntf_<m>_async` sends req and returns; the runtime reports through cb.
 * - `MqcFesIntf_<m>_oneway` sends req as a message that nobody answers.
 * - `MqcFesIntf_<m>SetIdl` fills desc, which must not be NULL, with the method's encoders.
 *
 * The three calls return the runtime's status unchanged. Synchronous and asynchronous calls pass
 * a NULL req or a missing handle on to the runtime; a one-way message answers either with
 * MQC_STATUS_INVALID and sends nothing.
 *
 * @param req      the request record, only read; the caller's until the call returns
 * @param cb       handed to the runtime unchanged
 * @param userData handed to the runtime unchanged, for cb
 * @param opt      handed to `RPC_GetRpcInvoke` unchanged; not interpreted
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
