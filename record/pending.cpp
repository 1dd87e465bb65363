#include "record/pending.h"

#include <sys/mman.h>

#include <algorithm>

#include "shared/section.h"

namespace record {
namespace {

constexpr u32 mostRefused = 65'536;

// An id is a ticket, 0 where there is no call, over the place among all.
constexpr u32 placeBits = 20;
constexpr u64 placeOf(u64 id) {
  return id % (u64{1} << placeBits);
}
constexpr u64 ticketOf(u64 id) {
  return id >> placeBits;
}

}  // namespace

Pending* PendingCalls::add(std::string_view method, const AsyncCallCtx& ctx) {
  const shared::Section section(mutex_);
  Pending* const call = section.isEntered() ? unused() : nullptr;
  if (call == nullptr) return nullptr;
  call->callback = ctx.cb;
  call->userData = ctx.userData;
  call->id = ++tickets_ << placeBits | placeOf(call->id);
  call->isRefused = false;
  call->methodSize = static_cast<u8>(method.copy(call->method.data(), call->method.size()));
  return call;
}

Pending PendingCalls::end(u64 id) {
  const shared::Section section(mutex_);
  Pending* const call = find(id);
  if (call == nullptr) return {};
  const Pending ended = *call;
  if (!section.isEntered()) return ended;  // and is never used again
  call->id = placeOf(id);
  if (!call->isRefused) free_.append(call);
  return ended;
}

bool PendingCalls::refuse(u64 id) {
  const shared::Section section(mutex_);
  Pending* const call = section.isEntered() ? find(id) : nullptr;
  if (call == nullptr) return false;
  call->isRefused = true;
  call->sequence = 0;
  refused_.append(call);
  return true;
}

void PendingCalls::inChild() {
  mutex_ = PTHREAD_MUTEX_INITIALIZER;  // another thread of the parent may have held it
  free_ = {};
  refused_ = {};
  made_ = 0;
  while (made_ < mostBlocks && blocks_[made_] != nullptr) list(made_++);
}

Pending* PendingCalls::find(u64 id) {
  if (ticketOf(id) == 0) return nullptr;
  Pending* const call = blocks_[placeOf(id) / blockSize] + placeOf(id) % blockSize;
  return call->id == id ? call : nullptr;
}

Pending* PendingCalls::unused() {
  if (free_.first == nullptr && refused_.count > mostRefused) return refused_.take();
  if (free_.first == nullptr) make();
  return free_.take();
}

void PendingCalls::make() {
  if (made_ == mostBlocks) return;
  // Not from the heap, which a signal handler must leave alone.
  void* const mapped = ::mmap(nullptr, blockSize * sizeof(Pending), PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return;
  blocks_[made_] = static_cast<Pending*>(mapped);
  list(made_++);
}

void PendingCalls::list(u32 block) {
  for (u32 i = 0; i < blockSize; ++i) {
    Pending& call = blocks_[block][i];
    if (ticketOf(call.id) == 0) {
      call.id = u64{block} * blockSize + i;
      free_.append(&call);
    } else if (call.isRefused) {
      refused_.append(&call);
    }
  }
}

void PendingCalls::List::append(Pending* call) {
  call->next = nullptr;
  (first == nullptr ? first : last->next) = call;
  last = call;
  ++count;
}

Pending* PendingCalls::List::take() {
  Pending* const call = first;
  if (call == nullptr) return nullptr;
  first = call->next;
  --count;
  return call;
}

}  // namespace record
