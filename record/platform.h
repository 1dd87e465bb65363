#ifndef RECORD_PLATFORM_H
#define RECORD_PLATFORM_H

#include <atomic>

#include "tarn/rpc.h"

namespace record {

/// The platform's function of that name, which then stays loaded. NULL, and a line on stderr for
/// the first, when there is none.
void* findInPlatform(const char* name);

/// A function of the platform that this library stands before, looked up by its first call.
template <class Function>
class Next {
 public:
  constexpr explicit Next(const char* name) : name_(name) {}
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
