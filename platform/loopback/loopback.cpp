#include "tarn/loopback.h"

#include <pthread.h>

#include <cstddef>
#include <cstdlib>
#include <new>

#include "platform/loopback/state.h"
#include "shared/report.h"
#include "shared/temporary_file.h"

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
  ruling.lock();
  mutex.lock();
}

void State::unlock() {
  mutex.unlock();
  ruling.unlock();
  completions.unlock();
  capture.unlock();
}

void State::recordInChild() {
  if (settings.recording != nullptr) settings.recording->calls.inChild();
  if (environment.recording != nullptr) environment.recording->calls.inChild();
}

namespace {

// A lock that another thread held would stay locked in the child. Registered when the library is
// loaded, which cannot fail: the C library has room for the first handlers.
[[maybe_unused]] const int watched =
    pthread_atfork([] { state().lock(); }, [] { state().unlock(); },
                   [] {
                     state().completions.startAfresh();
                     state().recordInChild();
                     state().unlock();
                   });

template <class Change>
void change(Change apply) {
  const std::lock_guard lock(state().mutex);
  apply(state().settings);
}

/// The recording of that path, if it is set or the environment's.
std::shared_ptr<Recording> known(const std::string& path) {
  const std::lock_guard lock(state().mutex);
  for (const auto& recording : {state().settings.recording, state().environment.recording}) {
    if (recording != nullptr && recording->path == path) return recording;
  }
  return nullptr;
}

TarnStatus record(const std::string& path) {
  std::shared_ptr<Recording> recording = known(path);
  if (recording == nullptr) {
    recording = std::make_shared<Recording>(path);
    if (!recording->start()) return TARN_STATUS_CAPTURE;
  }
  change([&](Settings& settings) { settings.recording.swap(recording); });
  return TARN_STATUS_OK;
}

const char* variable(const char* name) {
  const char* const value = ::secure_getenv(name);
  return value != nullptr ? value : "";
}

/// That of the environment, NULL for none.
const char* captureDir() {
  const std::string& dir = state().environment.captureDir;
  return dir.empty() ? nullptr : dir.c_str();
}

/// Its rules, which may turn out not to be usable; none without a script.
std::shared_ptr<Rules> rulesOf(const char* path) {
  if (*path == '\0') return nullptr;
  auto rules = std::make_shared<Rules>();
  rules->read(shared::absolute(path));
  return rules;
}

// When the library is loaded, which no other thread does at the same time.
[[maybe_unused]] const bool isSetUp = [] {
  state().environment.captureDir = variable("TARN_LOOPBACK_CAPTURE");
  TarnLoopback_setCaptureDir(captureDir());
  const char* const recording = variable("TARN_LOOPBACK_RECORD");
  if (*recording != '\0') TarnLoopback_setRecording(recording);
  state().environment.recording = state().settings.recording;
  state().environment.rules = rulesOf(variable("TARN_LOOPBACK_SCRIPT"));
  state().settings.rules = state().environment.rules;
  return true;
}();

// Behind all exit handlers, which may make calls.
[[gnu::destructor]] void checkAtExit() {
  const std::shared_ptr<Rules>& rules = state().environment.rules;
  if (rules != nullptr && rules->areUsable()) rules->check();
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

u32 TarnLoopback_setRecording(const char* path) try {
  if (path != nullptr) return loopback::record(shared::absolute(path));
  std::shared_ptr<loopback::Recording> former;
  loopback::change([&](Settings& settings) { settings.recording.swap(former); });
  return TARN_STATUS_OK;
} catch (const std::bad_alloc&) {
  return TARN_STATUS_NO_RESOURCES;
}

u32 TarnLoopback_setScript(const char* path) try {
  std::shared_ptr<loopback::Rules> rules;
  if (path != nullptr) {
    rules = std::make_shared<loopback::Rules>();
    if (!rules->read(path)) return TARN_STATUS_SCRIPT;
  }
  loopback::change([&](Settings& settings) { settings.rules.swap(rules); });
  return TARN_STATUS_OK;
} catch (const std::bad_alloc&) {
  return TARN_STATUS_NO_RESOURCES;
}

u32 TarnLoopback_checkScript(void) {
  std::shared_ptr<loopback::Rules> rules;
  loopback::change([&](Settings& settings) { rules = settings.rules; });
  if (rules != nullptr) return rules->check();
  shared::report("there is no script to check");
  return TARN_STATUS_INVALID;
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
  const loopback::Environment& environment = loopback::state().environment;
  if (environment.rules != nullptr) environment.rules->restart();
  loopback::change([&](Settings& settings) {
    settings = {};
    settings.recording = environment.recording;
    settings.rules = environment.rules;
  });
  return TarnLoopback_setCaptureDir(loopback::captureDir());
}
