/**
 * @file grpc.h
 * @brief Delivery over gRPC: set-up, statuses, and what a process may ask of it.
 *
 * Link `libtarn_platform_grpc.so` in place of the device's platform. Every call is a unary gRPC
 * call to `/MqcFesIntf/<method>` of a service in another process or on another machine: the request
 * is the encoded message as it is, the reply a FlatBuffers table `MqcReply` whose one field is the
 * status, which comes back unchanged.
 *
 * **Set-up.** Calls with `opt` NULL use the channel that the environment describes, made at the
 * first call:
 *
 * | variable | meaning | otherwise |
 * |---|---|---|
 * | `TARN_GRPC_TARGET` | the service: `unix:/run/mqc.sock`, `dns:///host:port` | no handle |
 * | `TARN_GRPC_DEADLINE_MS` | how long a call may take, 1 to 3600000 | 10000 |
 * | `TARN_GRPC_FULL` | 1: send the full encoding, where a method has one | 0 |
 * | `TARN_GRPC_WAIT` | 1: wait for the service, within the deadline, when it is away | 0 |
 * | `TARN_GRPC_MAX_IN_FLIGHT` | asynchronous and one-way calls at a time, 1 to 100000 | 2000 |
 * | `TARN_GRPC_CA` | PEM file: TLS, with services whose certificates these sign | no TLS |
 * | `TARN_GRPC_CERT`, `TARN_GRPC_KEY` | PEM files: this client's certificate and key | none |
 * | `TARN_GRPC_SERVER_NAME` | the name that the service's certificate has | the target's |
 *
 * Other channels come from TarnGrpc_open(). A set-up that makes no sense gives no handle: calls
 * return TARN_STATUS_INVALID, each says why in one line on stderr, and TarnGrpc_lastError() has the
 * same text. It is tried anew at the next call.
 *
 * **Calls.** A synchronous call returns when the service has answered, or within the deadline. An
 * asynchronous call that returned 0 runs its callback exactly once, perhaps before it returned, one
 * callback after the other on the runtime's thread; any other status means that it does not run. A
 * one-way message returns 0 when handed over: nobody tells how it ended.
 *
 * **Order.** Calls that do not wait may overtake each other on the way. Every call carries the
 * metadata `mqc-sequence`, a decimal number that grows in the order of the process's calls. Who
 * needs order sends synchronously.
 *
 * **Threads.** Any thread may call any function at any time. A callback may call, too, though
 * synchronous calls in it hold up the others.
 *
 * **Process exit.** A normal exit waits, at most a second, until what was handed over has ended;
 * after that no callback begins. A callback may end the process: no other callback begins then.
 *
 * **fork.** A child of a process that had a channel has none: its calls return TARN_GRPC_FORKED and
 * its parent's go on. Let it `exec`.
 */
#ifndef PLATFORM_GRPC_H
#define PLATFORM_GRPC_H

#include "mqc_fes_intf.h"
#include "platform/status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Statuses of this runtime's own, beside those of TarnStatus. The service's statuses are its own
 * affair: one that is to be told from these has other numbers.
 */
typedef enum TarnGrpcStatus {
  TARN_GRPC_FORKED = 10,     /**< The process was forked from one that had a channel. */
  TARN_GRPC_BUSY = 16,       /**< As many calls as may be are under way. */
  TARN_GRPC_GARBAGE = 71,    /**< The reply is no MqcReply. The service may have acted. */
  TARN_GRPC_TRANSPORT = 1000 /**< Plus gRPC's code, from 1 to 16: no answer from the service. */
} TarnGrpcStatus;

/**
 * How a channel is made. 0 and NULL are the defaults, as in the table above; the environment has no
 * say.
 */
typedef struct TarnGrpcOptions {
  const char* target;     /**< The service; not NULL. */
  u32 deadlineMs;         /**< How long a call may take, in milliseconds. */
  u32 maxInFlight;        /**< Asynchronous and one-way calls at a time. */
  u32 full;               /**< 1: the full encoding, where a method has one. */
  u32 waitForReady;       /**< 1: wait for the service when it is away. */
  const char* ca;         /**< PEM file of certificates to trust; TLS. */
  const char* cert;       /**< PEM file of this client's certificate; needs ca and key. */
  const char* key;        /**< PEM file of its private key. */
  const char* serverName; /**< The name in the service's certificate; needs ca. */
  u64 maxBytes;           /**< Bytes of asynchronous and one-way calls at a time. */
} TarnGrpcOptions;

/**
 * Makes a channel. It connects at the first call, and lives as long as the process.
 *
 * @param options read, and its files with it, before the function returns
 * @return what a call takes as `opt`; NULL, with a line on stderr, when the options make no sense
 */
void* TarnGrpc_open(const TarnGrpcOptions* options);

/**
 * Waits until all asynchronous and one-way calls made so far have ended, callbacks included.
 *
 * @param ms how long at most, in milliseconds
 * @return 0; TARN_GRPC_BUSY when the time was not enough; without waiting, TARN_STATUS_DEADLOCK in
 * a callback and TARN_GRPC_FORKED in a child
 */
u32 TarnGrpc_drain(u32 ms);

/**
 * Tells what a status of this runtime means.
 *
 * @param status what a call returned or a callback got
 * @return a text that stays valid; for other statuses one that says so
 */
const char* TarnGrpc_statusText(u32 status);

/**
 * Tells why the calling thread's last failure failed: a set-up or a call, in a callback the
 * callback's call. What the library refuses by itself, a one-way message without a request, is not
 * among them.
 *
 * @return one line without its end, valid until the thread's next call; empty when none failed yet
 */
const char* TarnGrpc_lastError(void);

#ifdef __cplusplus
}
#endif

#endif
