#ifndef TESTS_GUARDED_H
#define TESTS_GUARDED_H

// What encoders are tried on: memory that ends at a guard page, and descriptors.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "mqc_fes_intf.h"

namespace wire {

/// Memory whose last byte lies right before a page that may not be touched.
class Guarded {
 public:
  Guarded() = default;
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;
  ~Guarded() { release(); }

  /// The last size bytes, all of them fill.
  u8* last(std::size_t size, u8 fill) {
    if (size > size_) map(size);
    std::memset(end_ - size, fill, size);
    return end_ - size;
  }
  u8* last(const u8* bytes, std::size_t size) {
    u8* const at = last(size, 0);
    std::copy_n(bytes, size, at);
    return at;
  }

 private:
  void map(std::size_t size) {
    release();
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    size_ = (size + page - 1) / page * page;
    mapped_ = size_ + page;
    void* const base =
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    end_ = static_cast<u8*>(base) + size_;
    if (base == MAP_FAILED || mprotect(end_, page, PROT_NONE) != 0) std::abort();
  }
  void release() {
    if (end_ != nullptr) munmap(end_ - size_, mapped_);
  }

  u8* end_ = nullptr;
  std::size_t size_ = 0;
  std::size_t mapped_ = 0;
};

inline IdlMsgDesc describe(void (*setIdl)(IdlMsgDesc*)) {
  IdlMsgDesc desc;
  std::memset(&desc, 0xA5, sizeof desc);
  setIdl(&desc);
  return desc;
}

}  // namespace wire

#endif
