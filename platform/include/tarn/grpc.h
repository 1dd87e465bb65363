/**
 * @file grpc.h
 * @brief Delivery over gRPC: set-up, statuses, and what a process may ask of it.
 *
 * Link `libtarn_grpc.so` in place of the device's platform. Every call is a unary gRPC
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
 * | `TARN_GRPC_MAX_BYTES` | bytes of their messages at a time, 1 to 2^40 | 268435456 |
 * | `TARN_GRPC_CA` | PEM file: TLS, with services whose certificates these sign | no TLS |
 * | `TARN_GRPC_CERT`, `TARN_GRPC_KEY` | PEM files: this client's certificate and key | none |
 * | `TARN_GRPC_SERVER_NAME` | the name that the service's certificate has | the target's |
 *
 * A set-user-id or set-group-id program, and one with capabilities of its file, obeys none of them.
 * Other channels come from TarnGrpc_open(). A set-up that cannot work (a number out of range, a
 * target without a port, a damaged certificate, another certificate's key, fewer than 8 free file
 * descriptors, no thread to be had, a `GRPC_POLL_STRATEGY` on which gRPC would abort) yields no
 * handle: calls return TARN_STATUS_INVALID, each reports the reason in one line on stderr, and
 * TarnGrpc_lastError() returns the same text. It is tried anew at the next call.
 *
 * **Calls.** A synchronous call returns when the service has answered, or at its deadline. An
 * asynchronous call that returned 0 runs its callback exactly once, perhaps before it returned, one
 * callback after the other on a thread of the runtime's; any other status means that it does not
 * run. A one-way message returns 0 when handed over: how it ended is not reported.
 *
 * **Deadline.** It begins when the call is made, after the set-up, and includes the encoding, which
 * it cannot interrupt: a message that is late when it has been encoded is not sent. It does not
 * depend on the wall clock. A call that is ended at its deadline may have been acted on. A callback
 * runs in its turn: of thousands that expire together the last comes later.
 *
 * **Order.** Calls that do not wait may overtake each other on the way. Every call carries the
 * metadata `mqc-sequence`, a decimal number that grows in the order of the process's calls. Where
 * order matters, send synchronously.
 *
 * **Threads.** Any thread may call any function at any time, and is not cancelled in one; a call
 * waits for no lock that is held while something is read, made or waited for. A callback may call,
 * too, though synchronous calls in it delay the other callbacks. A callback that hangs delays no
 * call until the limit of calls under way is reached: a call keeps its place until its callback
 * begins. The runtime and gRPC start threads of their own, in which all signals are blocked but
 * those of faults (SIGSEGV and the like): the program's signals reach its own threads. Callbacks
 * run with that mask.
 *
 * **Process exit.** A normal exit waits, at most a second, until what was handed over has ended;
 * after that no callback begins, and one that has begun goes on. A callback may end the process: no
 * other callback begins then. Calls in exit handlers are answered as ever, as long as gRPC is
 * there: in handlers that are registered after the program has begun.
 *
 * **fork.** A child of a process whose first set-up had passed its checks has no channel: its calls
 * return TARN_GRPC_FORKED, at once, and its parent's go on. Let it `exec`.
 *
 * **Log.** gRPC's errors of the process go to stderr as the runtime's own lines do, each once in a
 * row: the runtime takes gRPC's log.
 *
 * **Memory.** Where it ends within the runtime, a status says so; where it ends within gRPC, gRPC
 * ends the process.
 */
#ifndef TARN_GRPC_H
#define TARN_GRPC_H

#include "mqc_fes_intf.h"
#include "tarn/status.h"

/** Version of this header: major * 10000 + minor * 100 + patch. */
#define TARN_GRPC_VERSION 10100

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Statuses of this runtime's own, beside those of TarnStatus. A service whose statuses are to be
 * distinct from these uses other numbers.
 */
typedef enum TarnGrpcStatus {
  TARN_GRPC_FORKED = 10,     /**< The process was forked from one that had a channel. */
  TARN_GRPC_BUSY = 16,       /**< The limit of calls or bytes under way is reached. */
  TARN_GRPC_GARBAGE = 71,    /**< The reply is no MqcReply. The service may have acted. */
  TARN_GRPC_TRANSPORT = 1000 /**< Plus gRPC's code, from 1 to 16: no answer from the service. */
} TarnGrpcStatus;

/**
 * How a channel is made. 0 and NULL are the defaults, as in the table above; the environment is not
 * read.
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
  u64 maxBytes;           /**< Bytes of their messages; a message that is alone may be larger. */
} TarnGrpcOptions;

/**
 * Makes a channel. It connects at the first call, and lives as long as the process.
 *
 * @param options read, and its files with it, before the function returns
 * @return what a call takes as `opt`; NULL, with a line on stderr, when the options cannot work
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
 * Returns what a status of this runtime means.
 *
 * @param status what a call returned or a callback got
 * @return a text that stays valid; for other statuses one that says so
 */
const char* TarnGrpc_statusText(u32 status);

/**
 * Returns why the calling thread's last failure failed: a set-up or a call, in a callback the
 * callback's call. What the library refuses by itself, a one-way message without a request, is not
 * among them.
 *
 * @return one line without its end, at most 1,023 bytes, valid until the thread's next call; what a
 * service or a file name brings in has its control characters escaped; empty when none failed yet
 */
const char* TarnGrpc_lastError(void);

#ifdef __cplusplus
}
#endif

#endif
