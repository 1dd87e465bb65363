#ifndef RECORD_PENDING_H
#define RECORD_PENDING_H

#include <pthread.h>

#include <array>
#include <string_view>

#include "mqc_fes_intf.h"
#include "shared/recording_packet.h"

namespace record {

enum class PendingState : u8 { waiting, refused, ended };

/// An asynchronous call whose callback has not run.
struct Pending {
  std::string_view methodName() const { return {method.data(), methodSize}; }

  RpcAsyncCallback callback;
  void* userData;
  u64 sequence;  // in the recording, set by who has added it
  u64 ticket;    // of no other call
  Pending* next;
  PendingState state;
  u8 methodSize;
  std::array<char, shared::longestName> method;
};

/// All of them, for any thread. A platform may still run the callback of a call that it has
/// refused: the latest 65,536 of those are kept. Their memory, of a million calls at most, is not
/// returned.
class PendingCalls {
 public:
  /// NULL: no memory, or a signal handler has interrupted one of these functions.
  Pending* add(std::string_view method, const AsyncCallCtx& ctx);
  /// The callback runs: returns the call. Its callback is NULL if it has run before.
  Pending end(Pending* call);
  /// The platform has refused the call of that ticket.
  void refuse(Pending* call, u64 ticket);
  /// In a child made by fork: leaves the parent's calls alone.
  void inChild();

 private:
  struct List {
    void append(Pending* call);
    Pending* take();

    Pending* first;
    Pending* last;
    u32 count;
  };
  Pending* unused();
  void make();

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  List free_ = {};
  List refused_ = {};
  u32 made_ = 0;
  u64 tickets_ = 0;
};

}  // namespace record

#endif
