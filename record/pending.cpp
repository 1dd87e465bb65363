#include "record/pending.h"

#include <sys/mman.h>

#include <algorithm>

#include "shared/section.h"

namespace record {
namespace {

constexpr u32 mostRefused = 65'536;
constexpr u32 most = 1'000'000;
constexpr u32 madeAtOnce = 512;

}  // namespace

Pending* PendingCalls::add(std::string_view method, const AsyncCallCtx& ctx) {
  const shared::Section section(mutex_);
  Pending* const call = section.isEntered() ? unused() : nullptr;
  if (call == nullptr) return nullptr;
  call->callback = ctx.cb;
  call->userData = ctx.userData;
  call->sequence = 0;
  call->ticket = ++tickets_;
  call->state = PendingState::waiting;
  call->methodSize = static_cast<u8>(std::min(method.size(), call->method.size()));
  std::copy_n(method.data(), call->methodSize, call->method.data());
  return call;
}

Pending PendingCalls::end(Pending* call) {
  const shared::Section section(mutex_);
  Pending ended = *call;
  if (!section.isEntered()) return ended;  // and is never used again
  if (call->state == PendingState::ended) ended.callback = nullptr;
  if (call->state == PendingState::waiting) free_.append(call);
  call->state = PendingState::ended;
  return ended;
}

void PendingCalls::refuse(Pending* call, u64 ticket) {
  const shared::Section section(mutex_);
  if (!section.isEntered() || call->ticket != ticket) return;
  if (call->state != PendingState::waiting) return;
  call->state = PendingState::refused;
  refused_.append(call);
}

void PendingCalls::inChild() {
  mutex_ = PTHREAD_MUTEX_INITIALIZER;  // another thread of the parent may have held it
  free_ = {};
  refused_ = {};
}

Pending* PendingCalls::unused() {
  if (free_.first == nullptr && refused_.count > mostRefused) return refused_.take();
  if (free_.first == nullptr && made_ < most) make();
  return free_.take();
}

void PendingCalls::make() {
  // Not from the heap, which a signal handler must leave alone.
  void* const mapped = ::mmap(nullptr, madeAtOnce * sizeof(Pending), PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return;
  made_ += madeAtOnce;
  for (u32 i = 0; i < madeAtOnce; ++i) free_.append(static_cast<Pending*>(mapped) + i);
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
