#include "shared/encode.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string>

#include "shared/report.h"

namespace shared {
namespace {

constexpr std::size_t guardSize = 64;
constexpr u8 guardByte = 0xA5;
constexpr u32 wordSize = 4;

// Bytes that the size query counts for an empty buffer and the encoder does not write.
constexpr u32 emptyBufferSize = 8;

TarnStatus refuse(const char* method, const std::string& fault) {
  report("%s: %s", method, fault.c_str());
  return TARN_STATUS_ENCODING;
}

TarnStatus noMemory(const char* method, u32 size) {
  report("%s: no memory for an encoding of %u bytes", method, size);
  return TARN_STATUS_NO_RESOURCES;
}

// Only a message with a buffer may be shorter, when that is empty, and it has no full encoding.
bool lengthFits(u32 length, u32 queried, const IdlMsgDesc& desc) {
  if (length == queried) return true;
  return desc.packFull == nullptr && queried - length == emptyBufferSize;
}

TarnStatus checkCompact(const char* method, const IdlMsgDesc& desc, u32 length, Encoding& out) {
  if (!out.guardIntact()) return refuse(method, "compact encoder wrote past its buffer");
  if (length == 0) return refuse(method, "compact encoder failed");
  if (!lengthFits(length, out.size(), desc)) {
    return refuse(method, "compact encoding has " + std::to_string(length) +
                              " bytes, its size query returned " + std::to_string(out.size()));
  }
  out.shrink(length);
  if (!out.rootInside()) return refuse(method, "compact root offset points outside");
  return TARN_STATUS_OK;
}

}  // namespace

bool Encoding::allocate(u32 size, u8 fill) {
  const std::size_t total = std::size_t{size} + guardSize;
  bytes_.reset(new (std::nothrow) u8[total]);
  if (!bytes_) return false;
  std::fill_n(bytes(), size, fill);
  std::fill_n(bytes() + size, guardSize, guardByte);
  size_ = allocated_ = size;
  return true;
}

bool Encoding::guardIntact() const {
  const u8* const guard = bytes() + allocated_;
  return std::all_of(guard, guard + guardSize, [](u8 byte) { return byte == guardByte; });
}

bool Encoding::rootInside() const {
  if (size_ < wordSize) return false;
  const u32 root =
      u32{bytes_[0]} | u32{bytes_[1]} << 8 | u32{bytes_[2]} << 16 | u32{bytes_[3]} << 24;
  return root >= wordSize && root <= size_ - wordSize;
}

TarnStatus encodeCompact(const char* method, const IdlMsgDesc& desc, const void* req,
                         Encoding& out) {
  if ((desc.packFull == nullptr) != (desc.fullSize == nullptr)) {
    return refuse(method, "full encoder without size getter, or the reverse");
  }
  u32 capacity = desc.pack(nullptr, req);
  if (capacity == 0) return refuse(method, "compact size query failed");
  if (!out.allocate(capacity, guardByte)) return noMemory(method, capacity);
  PackBuf cursor = {out.bytes(), &capacity};
  const u32 length = desc.pack(&cursor, req);
  return checkCompact(method, desc, length, out);
}

TarnStatus encodeFull(const char* method, const IdlMsgDesc& desc, const void* req, Encoding& out) {
  const u32 size = desc.fullSize();
  if (size == 0 || size % 8 != 0) {
    return refuse(method, "full size is not a multiple of 8: " + std::to_string(size));
  }
  if (!out.allocate(size, 0)) return noMemory(method, size);
  const u32 result = desc.packFull(out.bytes(), req);
  if (!out.guardIntact()) return refuse(method, "full encoder wrote past its buffer");
  if (result != 0) return refuse(method, "full encoder failed: " + std::to_string(result));
  if (!out.rootInside()) return refuse(method, "full root offset points outside");
  return TARN_STATUS_OK;
}

}  // namespace shared
