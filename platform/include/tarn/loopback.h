/**
 * @file loopback.h
 * @brief The loopback: controls it, and shows what a process on a workstation has sent.
 *
 * Link `libtarn_loopback.so` in place of the device's platform. Every call is encoded in
 * both encodings, each encoding is checked, and the message goes to the recording, the capture
 * directory and the receiver, if they are set.
 *
 *     static u32 onMessage(const TarnMessage* message, void* userData) { ... return 0; }
 *
 *     TarnLoopback_setReceiver(onMessage, &seen);
 *     codeUnderTest();
 *     TarnLoopback_drain();
 *     ... compare with what was expected ...
 *     TarnLoopback_reset();
 *
 * **Threads.** Any thread may call any function at any time. A setting holds for calls that begin
 * after it; a concurrent call may still see the former one.
 *
 * **Process exit.** A normal exit, by `exit` or from `main`, waits for at most a second until the
 * callbacks of earlier asynchronous calls have returned; after that no callback begins, and one
 * that still runs is not waited for. A callback may end the process: no other callback begins then.
 *
 * **fork.** A child has its parent's settings, counts and capture directory, and none of its
 * callbacks. Calls of the child complete in the child. A script goes on there as in the parent,
 * counts and turns included.
 *
 * **Environment.** `TARN_LOOPBACK_CAPTURE=DIR`, `TARN_LOOPBACK_RECORD=FILE` and
 * `TARN_LOOPBACK_SCRIPT=FILE` set the capture directory, the recording and the script when the
 * library is loaded, for programs that do not know of the loopback; not in a set-user-id program.
 * With a script that cannot be used, every call returns TARN_STATUS_SCRIPT. A normal exit, of a
 * child made by `fork`, too, reports on stderr what the script expected, unless it came since the
 * start or the last reset; the exit status does not change.
 *
 * **Memory.** On allocation failure, calls return TARN_STATUS_NO_RESOURCES and deliver nothing. One
 * whose `opt` is new has no handle then and returns TARN_STATUS_INVALID.
 */
#ifndef TARN_LOOPBACK_H
#define TARN_LOOPBACK_H

#include "mqc_fes_intf.h"
#include "tarn/status.h"

/** Version of this header: major * 10000 + minor * 100 + patch. */
#define TARN_LOOPBACK_VERSION 10100

#ifdef __cplusplus
extern "C" {
#endif

/** How a message was sent. */
typedef enum TarnVariant { TARN_VARIANT_SYNC, TARN_VARIANT_ASYNC, TARN_VARIANT_ONEWAY } TarnVariant;

/** A message as it would have gone to the device. */
typedef struct TarnMessage {
  MethodId method;     /**< The method's identity. */
  TarnVariant variant; /**< How it was sent. */
  u64 reqSize;         /**< Size of the request record in bytes; 0 for one-way calls. */
  void* opt;           /**< The option passed to `RPC_GetRpcInvoke`. */
  const u8* compact;   /**< The compact encoding. */
  u32 compactSize;     /**< Its length in bytes. */
  const u8* full;      /**< The full encoding; NULL for a method without one. */
  u32 fullSize;        /**< Its buffer in bytes, a multiple of 8; 0 for a method without one. */
} TarnMessage;

/**
 * Receives messages, on the thread of the call, and concurrently when several threads call. It may
 * make calls and use the loopback itself; it must not throw.
 *
 * @param message  the message; it and all that it points at are valid until the receiver returns
 * @param userData the value passed with the receiver
 * @return the status of the call
 */
typedef u32 (*TarnReceiver)(const TarnMessage* message, void* userData);

/**
 * Sets the receiver of every message.
 *
 * @param receiver called for every message that is sent; NULL for none
 * @param userData passed to the receiver; must be valid as long as calls can reach it
 */
void TarnLoopback_setReceiver(TarnReceiver receiver, void* userData);

/**
 * Sets the status that calls return while there is no receiver, unless a script's rule answers. An
 * asynchronous call that returns another status than 0, from here or from the receiver, does not
 * complete.
 *
 * @param status 0 at the start
 */
void TarnLoopback_setStatus(u32 status);

/**
 * Sets the status that the callbacks of asynchronous calls get, unless a script's rule answers.
 * They run one after the other on a thread of the loopback, once for each call that returns 0,
 * perhaps before it returns.
 *
 * @param status 0 at the start
 */
void TarnLoopback_setCompletionStatus(u32 status);

/**
 * Sets whether `RPC_GetRpcInvoke` returns a handle. Handles stay valid.
 *
 * @param available 0: it returns NULL; anything else: it returns a handle, as at the start
 */
void TarnLoopback_setHandleAvailable(int available);

/**
 * Sets the directory that keeps every message, a file for each encoding:
 * `0007-sendRuleMac.compact.bin` and `0007-sendRuleMac.full.bin`. The number counts the messages
 * and continues after the highest in the directory; processes that share a directory may use a
 * number twice. No file is ever overwritten, and a message's files are there whole or not at all,
 * unless the process is killed between the two.
 *
 * A directory that cannot be written is set nonetheless: calls fail until it can be written. Each
 * failure is reported in one line on stderr with the path and the reason.
 *
 * The directory may be a link; links inside it are not followed. Files get mode 0666, less the
 * process's umask.
 *
 * @param path an existing directory, copied; NULL for none
 * @return 0; TARN_STATUS_CAPTURE when the directory cannot be written; TARN_STATUS_NO_RESOURCES
 * on allocation failure, with nothing changed
 */
u32 TarnLoopback_setCaptureDir(const char* path);

/**
 * Sets the file that records every message and the end of its call, with their times, in the format
 * of `libtarn_record.so`: Wireshark and tshark show it, and the Python package reads it. An
 * asynchronous call ends when its callback runs. The file is made at the first message; one that is
 * there is kept as `FILE-1`. It and up to three former ones have at most 64 MiB together; the
 * oldest messages are dropped.
 *
 * A recording that fails later fails no call: it is reported in one line on stderr, messages that
 * are missing are counted in the recording, and it goes on as soon as it can. A child made by
 * `fork` records in a file of its own, `FILE.<process>`. Files get mode 0600; links are not
 * followed.
 *
 * @param path the file, copied; NULL for none; a path that is set already changes nothing
 * @return 0; TARN_STATUS_CAPTURE, after a line on stderr, when the folder cannot be written or what
 * is there is no file; TARN_STATUS_NO_RESOURCES on allocation failure. Nothing has changed then.
 */
u32 TarnLoopback_setRecording(const char* path);

/**
 * Sets the script, whose rules answer calls as they do in `tarn-serve --script`: one file serves
 * both. docs/scripting.md states its format.
 *
 * A message that is delivered counts in the first rule that fits it, which may answer the call. The
 * receiver sees the message, and the rule's answer takes the place of its status. Calls end as they
 * would over gRPC: a synchronous one returns the answer's status, an asynchronous one returns 0 and
 * its callback gets the status, a one-way one returns 0. The statuses are
 *
 * | answer | status |
 * |---|---|
 * | `{"status": N}` | N |
 * | `{"grpc": "UNAVAILABLE"}` | 1000 plus gRPC's code, here 1014 |
 * | `{"drop": true}` | 1004, deadline exceeded: at once, since the loopback has no deadlines |
 * | `{"garbage": true}` | 71, a reply that breaks the rules |
 *
 * With `"delay_ms"`, a synchronous call returns that much later, and a callback runs that much
 * later, overtaken by those that are due earlier. Calls without an answer of a rule end as they do
 * without a script.
 *
 * @param path the file, read at once, which begins all counts and turns anew; NULL for no script
 * @return 0; TARN_STATUS_SCRIPT, after a line on stderr, when the file cannot be used, or this
 * library was built without scripts; TARN_STATUS_NO_RESOURCES on allocation failure. Nothing has
 * changed then.
 */
u32 TarnLoopback_setScript(const char* path);

/**
 * Checks that what the script expects has come: all messages delivered since it was set, those of
 * asynchronous calls that have not completed included.
 *
 * @return 0; TARN_STATUS_SCRIPT, after lines on stderr with what each rule expected and what came,
 * or when the environment's script cannot be used; TARN_STATUS_INVALID, after a line on stderr,
 * without a script; TARN_STATUS_NO_RESOURCES on allocation failure
 */
u32 TarnLoopback_checkScript(void);

/**
 * Counts messages delivered since the start or the last reset: encoded without fault and captured,
 * whatever the status of the call.
 *
 * @param variant which messages to count
 * @return the number of messages; 0 for an unknown variant
 */
u64 TarnLoopback_delivered(TarnVariant variant);

/**
 * Waits until the callbacks of all asynchronous calls made so far have returned.
 *
 * @return 0; TARN_STATUS_DEADLOCK, without waiting, in a completion callback, or when the process
 * ends and some of the callbacks will never return
 */
u32 TarnLoopback_drain(void);

/**
 * Waits as TarnLoopback_drain does, then restores the initial state: no receiver, capture
 * directory, recording and script as the environment has them, a handle available, both statuses 0,
 * nothing counted. Counts and turns of the environment's script begin anew.
 *
 * @return as TarnLoopback_drain; with another status than 0, nothing has changed
 */
u32 TarnLoopback_reset(void);

#ifdef __cplusplus
}
#endif

#endif
