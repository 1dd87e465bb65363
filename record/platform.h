#ifndef RECORD_PLATFORM_H
#define RECORD_PLATFORM_H

#include <atomic>

#include "tarn/rpc.h"

namespace record {

/// The function of that name in the first library behind this one that has it, which then stays
/// loaded, or NULL.
void* findBehind(const char* name);
/// The same, or if there is none, the platform's function of that name anywhere else, which then
/// stays loaded. NULL, and a line on stderr for the first, when there is none.
void* findInPlatform(const char* name);

/// A function of the platform that this library stands before, looked up when this library is
/// loaded, and while there is none yet, by each call.
template <class Function>
class Next {
 public:
  constexpr explicit Next(const char* name) : name_(name) {}
  void start() { found_.store(findBehind(name_), std::memory_order_release); }
  /// NULL until there is a platform.
  Function get() {
    // Several threads may look it up: no lock is held meanwhile, and all find the same.
    void* function = found_.load(std::memory_order_acquire);
    if (function == nullptr) {
      function = findInPlatform(name_);
      found_.store(function, std::memory_order_release);
    }
    return reinterpret_cast<Function>(function);
  }

 private:
  const char* const name_;
  std::atomic<void*> found_ = nullptr;
};

}  // namespace record

#endif
