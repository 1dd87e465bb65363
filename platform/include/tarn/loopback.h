/**
 * @file loopback.h
 * @brief The loopback platform: how a process on a workstation steers it and sees what was sent.
 *
 * Link `libtarn_loopback.so` in place of the device's platform. Its RPC runtime is a loopback:
 * every call is encoded in both encodings, each encoding is checked, and the message goes to the
 * capture directory, if one is set, and to the receiver, if one is set.
 *
 *     static u32 onMessage(const TarnMessage* message, void* userData) { ... return 0; }
 *
 *     TarnLoopback_setReceiver(onMessage, &seen);
 *     codeUnderTest();
 *     TarnLoopback_drain();
 *     ... look at what was seen ...
 *     TarnLoopback_reset();
 *
 * **Threads.** Any thread may call any function at any time. A setting holds for the calls that
 * begin after it; a call under way in another thread may still see the former one.
 *
 * **Process exit.** A normal exit, by `exit` or from `main`, waits, at most a second, until the
 * callbacks of the asynchronous calls made before have returned; after that no callback begins, and
 * one that still runs is left to itself. A callback may end the process: no other callback begins
 * then.
 *
 * **fork.** A child has its parent's settings, counts and capture directory as they were, and none
 * of its callbacks. Its own calls complete in it.
 *
 * **No memory.** Where memory ends, calls return TARN_STATUS_NO_RESOURCES and have delivered
 * nothing. One whose `opt` was never seen before has no handle then and returns
 * TARN_STATUS_INVALID.
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
  u64 reqSize;         /**< Size of the request record in bytes; 0 one-way, where it is not told. */
  void* opt;           /**< The option given to `RPC_GetRpcInvoke`. */
  const u8* compact;   /**< The compact encoding. */
  u32 compactSize;     /**< Its length in bytes. */
  const u8* full;      /**< The full encoding; NULL for a method without one. */
  u32 fullSize;        /**< Its buffer in bytes, a multiple of 8; 0 for a method without one. */
} TarnMessage;

/**
 * Receives messages, on the thread of the call and several at once when several threads call. It
 * may make calls and use the loopback itself; it must not throw.
 *
 * @param message  the message, with all it points at valid until the receiver returns
 * @param userData the value given with the receiver
 * @return the status of the call
 */
typedef u32 (*TarnReceiver)(const TarnMessage* message, void* userData);

/**
 * Sets who receives every message.
 *
 * @param receiver called for every message that is sent; NULL for none
 * @param userData handed to the receiver; must live as long as calls can reach it
 */
void TarnLoopback_setReceiver(TarnReceiver receiver, void* userData);

/**
 * Sets the status that calls return while there is no receiver. An asynchronous call that returns
 * another status than 0, from here or from the receiver, does not complete.
 *
 * @param status 0 at the start
 */
void TarnLoopback_setStatus(u32 status);

/**
 * Sets the status that the callbacks of asynchronous calls get. They run one after the other on a
 * thread of the loopback's own, once for each call that returned 0, perhaps before it returned.
 *
 * @param status 0 at the start
 */
void TarnLoopback_setCompletionStatus(u32 status);

/**
 * Says whether `RPC_GetRpcInvoke` has a handle to give. A handle stays valid once given.
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
 * A directory that cannot be written is set nonetheless: it fails the calls until it can be
 * written. Each failure is one line on stderr with the path and the reason.
 *
 * The directory may be a link; in it no link is followed. Files get the mode that the process's
 * umask leaves of 0666.
 *
 * @param path an existing directory, copied; NULL for none
 * @return 0; TARN_STATUS_CAPTURE when the directory cannot be written; TARN_STATUS_NO_RESOURCES,
 * with nothing changed, without memory
 */
u32 TarnLoopback_setCaptureDir(const char* path);

/**
 * Counts messages delivered since the start or the last reset: sent, encoded without fault and
 * captured, whatever status they were answered with.
 *
 * @param variant which messages to count
 * @return the number of messages; 0 for a variant that there is not
 */
u64 TarnLoopback_delivered(TarnVariant variant);

/**
 * Waits until the callback has returned of every asynchronous call made so far.
 *
 * @return 0; TARN_STATUS_DEADLOCK, without waiting, in a completion callback, or when the process
 * ends and some of the callbacks will not return any more
 */
u32 TarnLoopback_drain(void);

/**
 * Waits as TarnLoopback_drain does, then sets everything back to how it was at the start: no
 * receiver, no capture directory, a handle to be had, both statuses 0, nothing counted.
 *
 * @return as TarnLoopback_drain; with another status than 0, nothing has changed
 */
u32 TarnLoopback_reset(void);

#ifdef __cplusplus
}
#endif

#endif
