#ifndef SHARED_RECORDING_H
#define SHARED_RECORDING_H

// Writes recordings of calls; docs/recording.md describes the format. Uses the C library alone,
// allocates nothing, throws nothing. All that it has, an object of zeros, needs no constructor.

#include <pthread.h>

#include <atomic>
#include <span>
#include <string_view>

#include "shared/recording_files.h"
#include "shared/recording_packet.h"

namespace shared {

enum class CallVariant { sync, async, oneway };
/// A variant as recordings name it.
std::string_view nameOf(CallVariant variant);

/**
 * A recording, which any thread may write to at any time, even in a signal handler. Failures are
 * counted and reported in one line on stderr until the recording goes on, which is tried every 100
 * milliseconds. errno stays what it was; no function is a cancellation point.
 */
class Recording {
 public:
  /**
   * Names the files, which are made at the first call. Before any other function.
   *
   * @param path  the recording
   * @param bytes the most bytes of all its files
   * @return an error number, 0 for none
   */
  int setUp(std::string_view path, u64 bytes);

  /**
   * Records a request.
   *
   * @param message the encoded request; empty where there is none, or no memory for it
   * @param size    its bytes, also where it is empty
   * @return the call's sequence number for end(); 0 when it is not recorded
   */
  u64 request(CallVariant variant, std::string_view method, std::span<const u8> message, u32 size);
  /// The most bytes of a message that may have room in a file. Longer ones need not be encoded.
  u64 longest() const { return files_.quarter(); }
  /// Records the end of a call; does nothing for a sequence number of 0.
  void end(u64 sequence, std::string_view method, u32 status);
  /// Counts a call that could not be recorded.
  void miss() { missing_.fetch_add(1, std::memory_order_relaxed); }

  /// Leaves the file. A call that is recorded later gets a new one.
  void close();
  /// In a child made by fork, before any other function: its recording is one of its own. Sequence
  /// numbers go on: the end of a call of the parent's is not that of another one.
  void inChild();

 private:
  bool prepare(const timespec& now, u64 size);
  int begin(const timespec& now);
  int admit(u64 missing, const timespec& now);
  int append(PacketHead& head, std::span<const u8> message);
  int appendRequest(const timespec& now, PacketHead& head, u64 sequence, std::string_view method,
                    std::span<const u8> message);
  bool settle(const timespec& now, int error);

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  RecordingFiles files_;
  std::atomic<u64> missing_ = 0;  // packets
  u64 sequence_ = 0;
  timespec stopped_ = {};  // when; 0: it goes on
  u32 process_ = 0;
};

}  // namespace shared

#endif
