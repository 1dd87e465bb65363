#include "record/message.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>

namespace record {

Message::Message(const IdlMsgDesc* desc, const void* req, u64 most) : most_(most) {
  if (desc == nullptr || req == nullptr) return;
  if (desc->pack != nullptr) {
    encodeCompact(desc->pack, req);
  } else if (desc->packFull != nullptr && desc->fullSize != nullptr) {
    encodeFull(*desc, req);
  }
}

Message::~Message() {
  if (mapped_ != 0) ::munmap(room_, mapped_);
}

void Message::encodeCompact(IdlPackFn pack, const void* req) {
  reserve(pack(nullptr, req));
  if (room_ == nullptr) return;
  u32 capacity = size_;
  PackBuf cursor = {room_, &capacity};
  size_ = std::min(size_, pack(&cursor, req));
}

void Message::encodeFull(const IdlMsgDesc& desc, const void* req) {
  reserve(desc.fullSize());
  if (room_ == nullptr) return;
  std::fill_n(room_, size_, u8{0});
  if (desc.packFull(room_, req) != 0) size_ = 0;
}

/// Not from the heap, which a signal handler must leave alone.
void Message::reserve(u32 size) {
  size_ = size;
  if (size == 0 || size > most_) return;
  if (size <= small_.size()) {
    room_ = small_.data();
    return;
  }
  const int error = errno;
  void* const mapped =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  errno = error;
  if (mapped == MAP_FAILED) return;
  room_ = static_cast<u8*>(mapped);
  mapped_ = size;
}

}  // namespace record
