#ifndef RECORD_PENDING_H
#define RECORD_PENDING_H

#include <pthread.h>

#include <array>
#include <string_view>

#include "mqc_fes_intf.h"
#include "shared/recording_packet.h"

namespace record {

/// An asynchronous call whose callback has not run.
struct Pending {
  std::string_view methodName() const { return {method.data(), methodSize}; }

  RpcAsyncCallback callback;
  void* userData;
  u64 sequence;  // in the recording, set by who has added it; 0: its end is recorded, or never will
  u64 id;        // of no other call, in any order of calls and ends
  Pending* next;
  bool isRefused;
  u8 methodSize;
  std::array<char, shared::longestName> method;
};

/// All of them, for any thread, known by numbers that fit a pointer: a platform that runs a
/// callback twice ends no other call. It may still run the callback of a call that it has refused:
/// the latest 65,536 of those are kept. Their memory, of a million calls at most, is not returned.
class PendingCalls {
 public:
  /// NULL: no memory, or a signal handler has interrupted one of these functions.
  Pending* add(std::string_view method, const AsyncCallCtx& ctx);
  /// The callback of the call of that id runs: returns the call. Its callback is NULL if it has run
  /// before.
  Pending end(u64 id);
  /// The platform has refused the call of that id. Returns false if it has ended all the same;
  /// otherwise this is its end, whether the callback still runs or not.
  bool refuse(u64 id);
  /// In a child made by fork. The parent's calls stay, as a platform may run their callbacks here;
  /// of the refused ones, from now on, any 65,536.
  void inChild();

 private:
  static constexpr u32 blockSize = 512;  // calls whose memory is got at once
  static constexpr u32 mostBlocks = 1'000'000 / blockSize;

  struct List {
    void append(Pending* call);
    Pending* take();

    Pending* first;
    Pending* last;
    u32 count;
  };
  Pending* find(u64 id);
  Pending* unused();
  void make();
  void list(u32 block);

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  List free_ = {};
  List refused_ = {};
  std::array<Pending*, mostBlocks> blocks_ = {};
  u32 made_ = 0;  // blocks
  u64 tickets_ = 0;
};

}  // namespace record

#endif
