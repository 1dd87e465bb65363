/**
 * @file rpc.h
 * @brief The platform's RPC runtime, as the library calls it.
 *
 * Method identity, descriptor and asynchronous context live on the caller's stack: the runtime
 * copies what it keeps beyond the call. The request record is valid until the call returns.
 */
#ifndef TARN_RPC_H
#define TARN_RPC_H

#include "mqc_fes_intf.h"

/** Version of this header: major * 10000 + minor * 100 + patch. */
#define TARN_RPC_VERSION 10100

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Gets the invoke handle for a server.
 *
 * @param addr the interface's server address; its first 96 bytes are for the runtime to use
 * @param opt  the caller's option, unchanged
 * @return the handle, NULL when there is none
 */
void* RPC_GetRpcInvoke(RpcServerAddr* addr, void* opt);

/**
 * Sends a request and waits for the answer.
 *
 * @param handle  from RPC_GetRpcInvoke; may be NULL
 * @param req     the request record; may be NULL
 * @param reqSize the record's size in bytes
 * @param method  the method's identity
 * @param desc    the method's encoders
 * @return the status; its meaning is defined by the runtime
 */
u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32 reqSize, const MethodId* method,
                             const IdlMsgDesc* desc);

/**
 * Sends a request and reports its result through the context's callback.
 *
 * @param handle from RPC_GetRpcInvoke; may be NULL
 * @param req    the request record; may be NULL
 * @param method the method's identity
 * @param desc   the method's encoders
 * @param ctx    record size, callback and the callback's value
 * @return the status of the sending; its meaning is defined by the runtime
 */
u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx);

/**
 * Sends a message without an answer.
 *
 * @param handle from RPC_GetRpcInvoke; not NULL
 * @param req    the request record; not NULL
 * @param method the method's identity
 * @param desc   the method's encoders
 * @return the status of the sending; its meaning is defined by the runtime
 */
u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc);

#ifdef __cplusplus
}
#endif

#endif
