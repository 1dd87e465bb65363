#include "codec/contract.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>

#include "tarn/log.h"

namespace codec {
namespace {

constexpr u32 logLevel = 2;
constexpr u32 logCode = 22;

LogModule logModule = {"VELTA", "VELTA_TORVAL_SERIAL", 0x6200};

KvrOsalLogWriteFn logWrite = nullptr;
std::atomic<bool> logLookedUp = false;
pthread_mutex_t logMutex = PTHREAD_MUTEX_INITIALIZER;

// Looked up once: in a process without the function, every later error would otherwise search all
// loaded objects.
KvrOsalLogWriteFn lookUpLogWrite() {
  if (logLookedUp.load(std::memory_order_acquire)) return logWrite;
  pthread_mutex_lock(&logMutex);
  if (!logLookedUp.load(std::memory_order_relaxed)) {
    logWrite = reinterpret_cast<KvrOsalLogWriteFn>(dlsym(RTLD_DEFAULT, KVR_OSAL_LOG_WRITE));
    logLookedUp.store(true, std::memory_order_release);
  }
  pthread_mutex_unlock(&logMutex);
  return logWrite;
}

const char* nullness(const void* pointer) {
  return pointer == nullptr ? "null" : "nonNull";
}

}  // namespace

u32 parameterError(const char* name, u32 line, const u8* buf, u32 capacity, const void* req) {
  if (const KvrOsalLogWriteFn log = lookUpLogWrite()) {
    log(&logModule, logLevel, logCode, "", line, name, "[VELTA]:Param invalid(%s, %u, %s)",
        nullness(buf), capacity, nullness(req));
  }
  return 0;
}

}  // namespace codec
