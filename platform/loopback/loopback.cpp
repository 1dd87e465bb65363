#include "tarn/loopback.h"

#include <pthread.h>

#include <cstddef>
#include <new>

#include "platform/loopback/state.h"
#include "shared/report.h"

const char* const shared::reporter = "tarn_loopback";

namespace loopback {

State& state() {
  alignas(State) static std::byte place[sizeof(State)];
  static State* const only = new (place) State;
  return *only;
}

void State::lock() {
  capture.lock();
  completions.lock();
  mutex.lock();
}

void State::unlock() {
  mutex.unlock();
  completions.unlock();
  capture.unlock();
}

namespace {

// A lock that another thread held would stay locked in the child. Registered when the library is
// loaded, which cannot fail: the C library has room for the first handlers.
[[maybe_unused]] const int watched =
    pthread_atfork([] { state().lock(); }, [] { state().unlock(); },
                   [] {
                     state().completions.startAfresh();
                     state().unlock();
                   });

template <class Change>
void change(Change apply) {
  const std::lock_guard lock(state().mutex);
  apply(state().settings);
}

}  // namespace
}  // namespace loopback

using loopback::Settings;

void TarnLoopback_setReceiver(TarnReceiver receiver, void* userData) {
  loopback::change([&](Settings& settings) {
    settings.receiver = receiver;
    settings.receiverData = userData;
  });
}

void TarnLoopback_setStatus(u32 status) {
  loopback::change([&](Settings& settings) { settings.status = status; });
}

void TarnLoopback_setCompletionStatus(u32 status) {
  loopback::change([&](Settings& settings) { settings.completionStatus = status; });
}

void TarnLoopback_setHandleAvailable(int available) {
  loopback::change([&](Settings& settings) { settings.handleAvailable = available != 0; });
}

u32 TarnLoopback_setCaptureDir(const char* path) {
  return loopback::state().capture.setDir(path);
}

u64 TarnLoopback_delivered(TarnVariant variant) {
  u64 count = 0;
  loopback::change([&](Settings& settings) {
    const auto i = static_cast<std::size_t>(variant);
    if (i < settings.delivered.size()) count = settings.delivered[i];
  });
  return count;
}

u32 TarnLoopback_drain(void) {
  return loopback::state().completions.drain();
}

u32 TarnLoopback_reset(void) {
  const u32 status = TarnLoopback_drain();
  if (status != TARN_STATUS_OK) return status;
  loopback::change([](Settings& settings) { settings = {}; });
  return TarnLoopback_setCaptureDir(nullptr);
}
