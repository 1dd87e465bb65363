#include "platform/stand_in.h"

#include <pthread.h>

#include <cstddef>
#include <new>

#include "platform/common/report.h"
#include "platform/loopback/state.h"

namespace platform {

const char* const reporter = "tarn_platform";

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
// loaded, and so without fail: the C library has room for the first handlers.
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
}  // namespace platform

using platform::Settings;

void TarnPlatform_setReceiver(TarnReceiver receiver, void* userData) {
  platform::change([&](Settings& settings) {
    settings.receiver = receiver;
    settings.receiverData = userData;
  });
}

void TarnPlatform_setStatus(u32 status) {
  platform::change([&](Settings& settings) { settings.status = status; });
}

void TarnPlatform_setCompletionStatus(u32 status) {
  platform::change([&](Settings& settings) { settings.completionStatus = status; });
}

void TarnPlatform_setHandleAvailable(int available) {
  platform::change([&](Settings& settings) { settings.handleAvailable = available != 0; });
}

u32 TarnPlatform_setCaptureDir(const char* path) {
  return platform::state().capture.setDir(path);
}

u64 TarnPlatform_delivered(TarnVariant variant) {
  u64 count = 0;
  platform::change([&](Settings& settings) {
    const auto i = static_cast<std::size_t>(variant);
    if (i < settings.delivered.size()) count = settings.delivered[i];
  });
  return count;
}

u32 TarnPlatform_drain(void) {
  return platform::state().completions.drain();
}

u32 TarnPlatform_reset(void) {
  const u32 status = TarnPlatform_drain();
  if (status != TARN_STATUS_OK) return status;
  platform::change([](Settings& settings) { settings = {}; });
  return TarnPlatform_setCaptureDir(nullptr);
}
