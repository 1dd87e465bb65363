#ifndef TESTS_WIRE_H
#define TESTS_WIRE_H

// Runs encoders the way a runtime would, on memory that ends at a guard page, and shows bytes as
// text that a person can compare.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "mqc_fes_intf.h"

namespace wire {

using Bytes = std::vector<u8>;
using SetIdl = void (*)(IdlMsgDesc*);

/// Memory whose last byte lies right before a page that may not be touched.
class Guarded {
 public:
  Guarded(std::size_t size, u8 fill) : size_(size) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    mapped_ = (size + page - 1) / page * page + page;
    base_ = static_cast<u8*>(
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED || mprotect(base_ + mapped_ - page, page, PROT_NONE) != 0) abort();
    data_ = base_ + mapped_ - page - size;
    std::memset(data_, fill, size);
  }
  Guarded(const void* from, std::size_t size) : Guarded(size, 0) {
    if (size != 0) std::memcpy(data_, from, size);
  }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;
  ~Guarded() { munmap(base_, mapped_); }

  u8* data() { return data_; }
  Bytes bytes() const { return Bytes(data_, data_ + size_); }

 private:
  std::size_t size_;
  std::size_t mapped_;
  u8* base_;
  u8* data_;
};

inline IdlMsgDesc describe(SetIdl setIdl) {
  IdlMsgDesc desc;
  std::memset(&desc, 0xA5, sizeof desc);
  setIdl(&desc);
  return desc;
}

/// The compact encoding, written into exactly as many bytes as the size query told.
inline Bytes compact(const IdlMsgDesc& desc, const void* req, u8 fill = 0) {
  u32 capacity = desc.pack(nullptr, req);
  Guarded out(capacity, fill);
  PackBuf cursor = {out.data(), &capacity};
  const u32 length = desc.pack(&cursor, req);
  EXPECT_LE(length, capacity);
  Bytes bytes = out.bytes();
  bytes.resize(length);
  return bytes;
}

/// The full encoding, written into exactly as many bytes as the getter told.
inline Bytes full(const IdlMsgDesc& desc, const void* req, u8 fill = 0) {
  Guarded out(desc.fullSize(), fill);
  EXPECT_EQ(0u, desc.packFull(out.data(), req));
  return out.bytes();
}

/// Hexadecimal text of bytes that were written twice over different fills, 00 and FF: "--" is a
/// byte that was not written.
inline std::string show(const Bytes& over00, const Bytes& overFF) {
  std::string text;
  for (std::size_t i = 0; i < over00.size(); ++i) {
    char pair[4] = "-- ";
    if (over00[i] == overFF[i]) std::snprintf(pair, sizeof pair, "%02X ", over00[i]);
    text += pair;
  }
  return text;
}

/// What show() prints for text that people write: pairs in groups of any length, lower or upper
/// case, "." between fields, "32*00" for 32 equal bytes, "3*--" for three that are not written.
inline std::string expand(const std::string& text) {
  std::string shown;
  std::istringstream groups(text);
  for (std::string group; groups >> group;) {
    if (group == ".") continue;
    const std::size_t star = group.find('*');
    const int times = star == std::string::npos ? 1 : std::stoi(group.substr(0, star));
    const std::string pairs = star == std::string::npos ? group : group.substr(star + 1);
    for (int n = 0; n < times; ++n) {
      for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
        shown += static_cast<char>(std::toupper(pairs[i]));
        shown += static_cast<char>(std::toupper(pairs[i + 1]));
        shown += ' ';
      }
    }
  }
  return shown;
}

/// The record on memory that ends at a guard page as well.
template <class Record>
void expectCompact(SetIdl setIdl, const Record& record, const std::string& text) {
  Guarded req(&record, sizeof record);
  const IdlMsgDesc desc = describe(setIdl);
  EXPECT_EQ(expand(text), show(compact(desc, req.data(), 0x00), compact(desc, req.data(), 0xFF)));
}

}  // namespace wire

#endif
