#include "record/platform.h"

#include <dlfcn.h>
#include <link.h>

#include "shared/report.h"

namespace record {
namespace {

const void* objectOf(void* address) {
  Dl_info object = {};
  return ::dladdr(address, &object) != 0 ? object.dli_fbase : nullptr;
}

/// The function in the first of all loaded objects that has it, but for this library.
void* findAnywhere(const char* name) {
  void* const program = ::dlopen(nullptr, RTLD_LAZY);
  link_map* object = nullptr;
  if (program == nullptr || ::dlinfo(program, RTLD_DI_LINKMAP, &object) != 0) return nullptr;
  const void* const own = objectOf(reinterpret_cast<void*>(findAnywhere));
  for (; object != nullptr; object = object->l_next) {
    void* const handle = ::dlopen(object->l_name, RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr) continue;
    void* const found = ::dlsym(handle, name);
    ::dlclose(handle);
    if (found != nullptr && objectOf(found) != own) return found;
  }
  return nullptr;
}

/// The library that calls the function has no reference to it: the program could unload it.
void keepLoaded(void* function) {
  Dl_info object = {};
  if (::dladdr(function, &object) != 0) ::dlopen(object.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
}

}  // namespace

void* findInPlatform(const char* name) {
  // A platform that was opened for one library alone is not among the next.
  void* function = ::dlsym(RTLD_NEXT, name);
  if (function == nullptr) function = findAnywhere(name);
  if (function != nullptr) {
    keepLoaded(function);
    return function;
  }
  static constinit std::atomic<bool> isReported = false;
  if (!isReported.exchange(true))
    shared::reportAtOnce("no platform behind this library has %s", name);
  return nullptr;
}

}  // namespace record
