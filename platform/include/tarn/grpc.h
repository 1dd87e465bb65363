/**
 * @file grpc.h
 * @brief Delivery over gRPC: set-up, statuses, waiting for calls.
 *
 * Link `libtarn_grpc.so` in place of the device's platform. It delivers calls to a service in
 * another process or on another machine, in one of two ways:
 *
 * - **Unary.** Every call is a unary gRPC call to `/MqcFesIntf/<method>`: the request is the
 * encoded message, unchanged; the reply is a FlatBuffers table `MqcReply` whose only field is the
 * status.
 * - **Over a stream**, if the settings ask for it. All calls of a channel travel in order over one
 *   streaming call to `/MqcFesIntf/stream`, whose messages are `MqcCalls` and `MqcAnswers`
 *   (`mqc_stream.fbs`): encoded messages as above, several of them together where they wait for
 * each other.
 *
 * Either way the call returns the service's status unchanged.
 *
 * **Set-up.** Calls with `opt` NULL use the channel that the environment describes, made at the
 * first call:
 *
 * | variable | meaning | default |
 * |---|---|---|
 * | `TARN_GRPC_TARGET` | the service: `unix:/run/mqc.sock`, `dns:///host:port` | no handle |
 * | `TARN_GRPC_DEADLINE_MS` | how long a call may take, 1 to 3600000 | 10000 |
 * | `TARN_GRPC_FULL` | 1: send the full encoding, where a method has one | 0 |
 * | `TARN_GRPC_WAIT` | 1: wait for a service that cannot be reached, within the deadline | 0 |
 * | `TARN_GRPC_STREAM` | 1: calls travel in order over one stream | 0 |
 * | `TARN_GRPC_MAX_IN_FLIGHT` | asynchronous and one-way calls in flight, 1 to 100000 | 2000 |
 * | `TARN_GRPC_MAX_BYTES` | bytes of their messages in flight, 1 to 2^40 | 268435456 |
 * | `TARN_GRPC_CA` | PEM file: TLS, with services whose certificates these sign | no TLS |
 * | `TARN_GRPC_CERT`, `TARN_GRPC_KEY` | PEM files: this client's certificate and key | none |
 * | `TARN_GRPC_SERVER_NAME` | the name in the service's certificate | the target's |
 * | `TARN_GRPC_SERVICE_CONFIG` | gRPC's service configuration, JSON of at most 1 MiB | none |
 * | `TARN_GRPC_STATS` | file for the counts of all channels of the process | none |
 *
 * A set-user-id or set-group-id program, or one with file capabilities, ignores all of them.
 * TarnGrpc_open() makes other channels. A set-up that cannot work (a number out of range, a target
 * without a port, a damaged certificate, another certificate's key, a service configuration that
 * gRPC refuses, a file for counts that cannot be written, fewer than 8 free file descriptors, no
 * thread, a `GRPC_POLL_STRATEGY` on which gRPC would abort) yields no handle: calls return
 * TARN_STATUS_INVALID, each reports the reason in one line on stderr, and TarnGrpc_lastError()
 * returns the same text. The next call tries again.
 *
 * **Certificates.** A thread of each channel with TLS looks at its files every 5 seconds; new
 * connections use what they hold, while connections that stand are kept, and calls with them.
 * Replace certificate and key together. While a file is missing or damaged, or the key belongs to
 * another certificate, no connection can be made: calls that need one fail with gRPC's code 14.
 *
 * **Service configuration.** Passed to gRPC as it is, and the only one: those in DNS are not read.
 * Retries stay off, as a service may act on each; no member that gRPC does not know, no
 * experimental policy and no backslash is accepted, and health checks only with `round_robin`.
 *
 * **Calls.** A synchronous call returns when the service has answered, or at its deadline. An
 * asynchronous call that returns 0 runs its callback exactly once, perhaps before it returns;
 * callbacks run one after the other on a thread of the runtime. With any other status the callback
 * does not run. A one-way call returns 0 when the message is handed over; its result is not
 * reported.
 *
 * **Deadline.** The time begins with the call, after the set-up, and includes the encoding, which
 * is not interrupted: a message that is late after its encoding is not sent. It does not depend on
 * the wall clock. The service may have acted on a call that ended at its deadline. Callbacks run in
 * their turn: of thousands that expire together the last runs later.
 *
 * **Order.** Unary calls that do not wait for each other may overtake each other on the way. Each
 * carries the metadata `mqc-sequence`, a decimal number that grows in the order of the process's
 * calls; one that is not synchronous carries `mqc-variant` as well, which is `async` or `oneway`.
 * Over a stream, all calls of a channel arrive in the order in which they were made, those of
 * several threads in the order in which they were handed over, and their callbacks run in that
 * order.
 *
 * **Streams.** A stream is opened for the first call, which waits until the service has sent its
 * instance number. A call whose deadline passes ends, and its answer is dropped if it still comes.
 * When the stream breaks, all calls under way end at once, and the next call opens another. Where
 * the settings ask to wait for the service, those that were not sent wait for the next stream,
 * unless the service went away before it had sent its instance number.
 * After 20 seconds calls go on over a new stream, once those on the old one have ended, since
 * services limit the age of connections. A service that breaks the rules, or answers what was not
 * asked, ends its stream with a line on stderr.
 *
 * **What was sent.** Over a stream, TARN_GRPC_NOT_SENT plus gRPC's code says that a call was
 * certainly not sent: it may be repeated. After TARN_GRPC_TRANSPORT plus a code the service may
 * have acted on it. Calls to a service without the stream end with TARN_GRPC_NOT_SENT + 12; they
 * are not sent another way. An encoded message of more than 65 MiB less 1 KiB is not sent:
 * TARN_GRPC_NOT_SENT + 8.
 *
 * **Threads.** Any thread may call any function at any time, and is not cancelled in one; no lock
 * that a call takes is held during I/O or a wait. A callback may make calls, though synchronous
 * ones delay the other callbacks. A callback that hangs delays no call until the in-flight limit is
 * reached: a call keeps its place until its callback begins. The runtime and gRPC start threads of
 * their own, in which all signals but those of faults (SIGSEGV and the like) are blocked: signals
 * reach the program's own threads. Callbacks run with that mask.
 *
 * **Process exit.** A normal exit waits for at most a second until all asynchronous and one-way
 * calls have ended; after that no callback begins, and one that has begun goes on. A callback may
 * end the process: no other callback begins then. Exit handlers may make calls, if they were
 * registered after the program had begun.
 *
 * **Counts.** TarnGrpc_stats() returns a channel's. With `TARN_GRPC_STATS`, which is read at the
 * process's first set-up, TarnGrpc_open() included, the counts of all channels are in that file in
 * Prometheus' text format: those of channels with the same target together, closed channels
 * included, so that no counter falls. The file is replaced as a whole, every 5 seconds by the
 * thread that runs callbacks, and at the end of a normal exit: a callback that hangs delays it, and
 * a slow disk delays callbacks and the exit, but no deadline and no synchronous call. A failure to
 * write is reported in one line on stderr, once until a write succeeds. Each process needs a file
 * of its own.
 *
 * **fork.** A child of a process whose first set-up had passed its checks has no channel: its calls
 * return TARN_GRPC_FORKED at once; the parent's calls are not affected. Let the child `exec`.
 *
 * **Log.** The runtime takes over gRPC's log: all gRPC errors of the process go to stderr like the
 * runtime's own lines, a repeated one once.
 *
 * **Memory.** On allocation failure in the runtime, calls return TARN_STATUS_NO_RESOURCES, and a
 * set-up yields no handle; on allocation failure in gRPC, gRPC ends the process.
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
 * This runtime's own statuses, in addition to TarnStatus. A service should use other numbers.
 */
typedef enum TarnGrpcStatus {
  TARN_GRPC_FORKED = 10,      /**< The process was forked from one that had a channel. */
  TARN_GRPC_BUSY = 16,        /**< The limit of calls or bytes in flight is reached. */
  TARN_GRPC_GARBAGE = 71,     /**< The answer breaks the rules. The service may have acted. */
  TARN_GRPC_TRANSPORT = 1000, /**< Plus gRPC's code, from 1 to 16: no answer from the service. */
  TARN_GRPC_NOT_SENT = 2000   /**< Plus gRPC's code: over a stream, certainly not sent. */
} TarnGrpcStatus;

/**
 * A channel's settings. 0 and NULL are the defaults, as in the table above; the environment is not
 * read. A later version may add members at the end.
 */
typedef struct TarnGrpcOptions {
  u32 size;                  /**< sizeof(TarnGrpcOptions). */
  u32 stream;                /**< 1: calls in order over one stream. */
  const char* target;        /**< The service; not NULL. */
  u32 deadlineMs;            /**< How long a call may take, in milliseconds. */
  u32 maxInFlight;           /**< Asynchronous and one-way calls in flight. */
  u32 full;                  /**< 1: the full encoding, where a method has one. */
  u32 waitForReady;          /**< 1: wait for a service that cannot be reached. */
  const char* ca;            /**< PEM file of certificates to trust; TLS. */
  const char* cert;          /**< PEM file of this client's certificate; needs ca and key. */
  const char* key;           /**< PEM file of its private key. */
  const char* serverName;    /**< The name in the service's certificate; needs ca. */
  u64 maxBytes;              /**< Bytes of their messages; a single message may be larger. */
  const char* serviceConfig; /**< gRPC's service configuration, JSON. */
} TarnGrpcOptions;

/**
 * Makes a channel, which connects at the first call and lives until it is closed, or as long as the
 * process.
 *
 * @param options the settings; they and their files are read before the function returns, and the
 * files again as long as the channel lives
 * @return the `opt` for calls; NULL, with a line on stderr, when the options cannot work
 */
void* TarnGrpc_open(const TarnGrpcOptions* options);

/**
 * Closes a channel: refuses new calls, waits for at most a second until those that are under way
 * have ended, and ends the others with the code CANCELLED. When it returns, their callbacks have
 * run, unless one hangs.
 *
 * @param channel from TarnGrpc_open; refused as an `opt` from now on. NULL: the channel of calls
 * whose `opt` is NULL; the next of them makes another
 * @return 0; TARN_GRPC_BUSY when calls had to be ended; without closing, TARN_STATUS_INVALID for
 * what is no open channel, TARN_STATUS_DEADLOCK in a callback and TARN_GRPC_FORKED in a child
 */
u32 TarnGrpc_close(void* channel);

/** What a channel comes to. */
typedef enum TarnGrpcState {
  TARN_GRPC_CONNECTING = 1, /**< It looks for the service. */
  TARN_GRPC_READY = 2,      /**< It is connected; its stream, if it has one, is open. */
  TARN_GRPC_FAILED = 3,     /**< No connection, or the stream has ended; it tries again. */
  TARN_GRPC_CLOSED = 4,     /**< TarnGrpc_close; the last state. */
  TARN_GRPC_RESTARTED = 5   /**< Over a stream, before READY: the service has been started since the
                               channel's last stream, and knows nothing of what was sent before. */
} TarnGrpcState;

/** Receives a channel's state, and what TarnGrpc_onState was given. */
typedef void (*TarnGrpcStateCallback)(TarnGrpcState state, void* data);

/**
 * Reports a channel's states from now on, and keeps it connected without calls, too, with its
 * stream open. A machine that has vanished or hangs, without closing the connection, is noticed
 * within a minute or two over a stream, otherwise by calls alone. Reports come between the
 * callbacks of calls, on their thread, under the same rules; states that follow each other faster
 * than they can be reported are left out, but no RESTARTED.
 *
 * With several services behind one target, RESTARTED is also reported when another one is reached.
 *
 * @param channel  from TarnGrpc_open; NULL: the channel of calls whose `opt` is NULL
 * @param callback in place of an earlier one; NULL ends the reports
 * @param data     passed to callback; to be kept until CLOSED, or, once another callback was set,
 * for as long as the former may be running
 * @return 0; TARN_STATUS_INVALID for what is no open channel, TARN_GRPC_FORKED in a child
 */
u32 TarnGrpc_onState(void* channel, TarnGrpcStateCallback callback, void* data);

/** Buckets of a channel's latencies. */
#define TARN_GRPC_LATENCIES 32

/**
 * What a channel has done since it was made. A call is counted once the runtime has accepted it;
 * one that lacks something, cannot be encoded, is too long for a stream or late before it is handed
 * over is in no count.
 * Each accepted call is either under way or has ended in one of seven ways.
 */
typedef struct TarnGrpcStats {
  u32 size; /**< Set by the caller: sizeof(TarnGrpcStats). Returns as the bytes that were filled. */
  u64 calls;    /**< Calls accepted. */
  u64 bytes;    /**< Bytes of their messages. */
  u64 busy;     /**< Calls refused with TARN_GRPC_BUSY; not in `calls`. */
  u64 underWay; /**< Accepted calls without a result. A callback may still have to run later. */

  u64 succeeded;   /**< Ended: the service answered 0. */
  u64 answered;    /**< Ended: it answered with another status. */
  u64 late;        /**< Ended: deadline exceeded (1004); the service may have acted. */
  u64 unavailable; /**< Ended: no connection (1014); the service may have acted. */
  u64 notSent;     /**< Ended: certainly not sent (TARN_GRPC_NOT_SENT plus any code). */
  u64 garbage;     /**< Ended: TARN_GRPC_GARBAGE. */
  u64 failed;      /**< Ended in any other way, such as a refusal by the service. */

  u64 nanoseconds; /**< From begin to result, the sum of all calls that have ended. */
  /**
   * Calls that have ended, by the time from begin to result: [0] at most 1 microsecond, [i] more
   * than 2^(i-1) and at most 2^i microseconds, the last all that took longer than 2^30 (18
   * minutes).
   */
  u64 latency[TARN_GRPC_LATENCIES];
} TarnGrpcStats;

/**
 * Reads a channel's counts. Calls may begin and end meanwhile; each is in either state.
 *
 * @param channel from TarnGrpc_open; NULL: the channel of calls whose `opt` is NULL
 * @param stats its size is set; of a struct that a later version has made longer, the bytes for
 * which the caller has room are filled, and bytes that this version does not know stay as they are
 * @return 0; without a change, TARN_STATUS_INVALID for what is no open channel, for NULL and for a
 * size less than that of version 1.1.0, and TARN_GRPC_FORKED in a child
 */
u32 TarnGrpc_stats(void* channel, TarnGrpcStats* stats);

/**
 * Waits until all asynchronous and one-way calls made so far have ended, callbacks included.
 *
 * @param ms the longest wait, in milliseconds
 * @return 0; TARN_GRPC_BUSY when calls remain; without waiting, TARN_STATUS_DEADLOCK in a callback
 * and TARN_GRPC_FORKED in a child
 */
u32 TarnGrpc_drain(u32 ms);

/**
 * Returns the meaning of a status of this runtime.
 *
 * @param status the result of a call or the argument of a callback
 * @return a text that stays valid; for other statuses a text that says so
 */
const char* TarnGrpc_statusText(u32 status);

/**
 * Returns the reason of the calling thread's last failure, of a set-up or a call; in a callback, of
 * the call that it belongs to. One-way messages that the library itself refuses do not count.
 *
 * @return one line without its end, at most 1,023 bytes, valid until the thread's next call;
 * control characters from a service or a file name are escaped; empty if nothing has failed
 */
const char* TarnGrpc_lastError(void);

#ifdef __cplusplus
}
#endif

#endif
