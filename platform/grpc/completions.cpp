#include "platform/grpc/completions.h"

#include <cstdlib>
#include <new>
#include <thread>
#include <utility>

#include "platform/grpc/failure.h"

namespace platform {
namespace {

constexpr std::chrono::milliseconds exitTime{1'000};

thread_local bool onRuntimeThread = false;

}  // namespace

/// A call under way; the tag that its end has in the queue.
struct Completions::Call {
  Call(Channel& way, const MethodId& method, RpcAsyncCallback told, void* value)
      : channel(way), exchange(method), callback(told), userData(value) {}
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() { givePlaceBack(); }
  void givePlaceBack() {
    if (std::exchange(hasPlace, false)) channel.leave();
  }

  Channel& channel;
  Exchange exchange;
  RpcAsyncCallback callback;
  void* userData;
  bool hasPlace = false;
  u64 sequence = 0;  ///< once it is under way
};

Completions& completions() {
  static Completions* const only = new Completions;
  return *only;
}

void Completions::start() {
  static const int watched = std::atexit([] { completions().atExit(); });  // also when tried again
  if (watched != 0) throw std::bad_alloc();
  // Nobody joins it: a callback that hangs, or that calls exit(), must not hang the exit.
  std::thread(&Completions::run, this).detach();
}

u32 Completions::begin(Channel& channel, const MethodId& method, const grpc::ByteBuffer& request,
                       RpcAsyncCallback callback, void* userData) {
  auto call = std::make_unique<Call>(channel, method, callback, userData);
  call->hasPlace = channel.enter();
  if (!call->hasPlace) return failure(method.methodName, TARN_GRPC_BUSY);
  call->sequence = enter();
  try {
    call->exchange.start(channel, request, call->sequence, queue_, call.get());
  } catch (const std::exception&) {
    leave(call->sequence);
    throw;
  }
  static_cast<void>(call.release());  // the queue gives it back
  return TARN_STATUS_OK;
}

u32 Completions::drain(std::chrono::milliseconds time) {
  if (onRuntimeThread) return TARN_STATUS_DEADLOCK;
  std::unique_lock lock(mutex_);
  const u64 last = sequence_;
  const bool ended =
      left_.wait_for(lock, time, [&] { return underWay_.empty() || *underWay_.begin() > last; });
  return ended ? 0 : u32{TARN_GRPC_BUSY};
}

void Completions::run() {
  onRuntimeThread = true;
  void* call = nullptr;
  bool ok = false;
  while (queue_.Next(&call, &ok)) end(static_cast<Call*>(call));
}

void Completions::end(Call* ended) {
  std::unique_ptr<Call> call(ended);
  const u64 sequence = call->sequence;
  const u32 status = call->exchange.outcome();
  call->givePlaceBack();  // a callback may call again
  if (call->callback != nullptr && !silent_) call->callback(status, call->userData);
  call.reset();  // who drained finds nothing left of it
  leave(sequence);
}

u64 Completions::enter() {
  const std::lock_guard lock(mutex_);
  const u64 sequence = nextSequence();
  underWay_.insert(sequence);
  return sequence;
}

void Completions::leave(u64 sequence) {
  const std::lock_guard lock(mutex_);
  underWay_.erase(sequence);
  left_.notify_all();
}

void Completions::atExit() {
  if (isForked()) return;
  if (drain(exitTime) == TARN_STATUS_DEADLOCK) endRest();
  silent_ = true;
}

void Completions::endRest() {
  silent_ = true;
  const auto last = std::chrono::system_clock::now() + exitTime;
  void* call = nullptr;
  bool ok = false;
  while (hasOthersUnderWay() &&
         queue_.AsyncNext(&call, &ok, last) == grpc::CompletionQueue::GOT_EVENT) {
    end(static_cast<Call*>(call));
  }
}

bool Completions::hasOthersUnderWay() {
  const std::lock_guard lock(mutex_);
  return underWay_.size() > 1;
}

}  // namespace platform
