#include "record/settings.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "shared/report.h"

constinit const char* const shared::reporter = "tarn_record";

namespace record {

constinit State state = {};

namespace {

constexpr u64 megabyte = 1'048'576;
constexpr u64 usualMegabytes = 64;
constexpr u64 mostMegabytes = 1'048'576;

/// 0: what the environment has is no such number.
u64 megabytes() {
  const char* const text = ::secure_getenv("TARN_RECORD_MB");
  if (text == nullptr) return usualMegabytes;
  const char* const end = text + std::strlen(text);
  u64 number = 0;
  const auto [rest, error] = std::from_chars(text, end, number);
  if (rest == end && error == std::errc{} && number > 0 && number <= mostMegabytes) return number;
  shared::reportAtOnce("TARN_RECORD_MB is '%s', not a number from 1 to %llu; nothing is recorded",
                       text, static_cast<unsigned long long>(mostMegabytes));
  return 0;
}

bool setUp(const char* path) {
  const u64 size = megabytes();
  if (size == 0) return false;
  int error = state.recording.setUp(path, size * megabyte);
  if (error == 0) {
    error = ::pthread_atfork(nullptr, nullptr, [] {
      state.recording.inChild();
      state.pending.inChild();
    });
  }
  if (error != 0) shared::reportAtOnce("nothing is recorded: %s: %s", ::strerror(error), path);
  return error == 0;
}

/// While the program is loaded; hardly any thread runs yet that could change the environment.
[[gnu::constructor]] void start() {
  const char* const path = ::secure_getenv("TARN_RECORD");
  const bool isOn = path != nullptr && *path != '\0' && setUp(path);
  state.isOn.store(isOn, std::memory_order_release);
}

}  // namespace
}  // namespace record
