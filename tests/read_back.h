#ifndef TESTS_READ_BACK_H
#define TESTS_READ_BACK_H

// Encodes a record of any method in both encodings and reads them back. No test framework is
// needed: what is wrong comes back as text.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "reader.h"

namespace read_back {

/// Output on the heap that ends where the memory ends, at an odd address on demand.
class Output {
 public:
  Output(u32 size, u8 fill, bool odd) : heap_(new u8[size + odd]), from_(odd), size_(size) {
    std::memset(data(), fill, size);
  }
  u8* data() { return heap_.get() + from_; }
  Bytes bytes() const { return {heap_.get() + from_, size_}; }

 private:
  std::unique_ptr<u8[]> heap_;
  std::size_t from_;
  u32 size_;
};

/// The encoders of a method, and what is known of its records beside the slot list.
class Check {
 public:
  explicit Check(const Method& method) : method_(method), padding_(method.recordSize, 0xFF) {
    method.setIdl(&desc_);
    records::Values values;
    records::collect(*method.table, 0, values);
    for (const auto& [offset, width] : values.scalars) std::fill_n(&padding_[offset], width, 0);
    for (const auto& [offset, width] : values.elements) std::fill_n(&padding_[offset], width, 0);
    for (const SlotInfo& slot : values.buffers) std::fill_n(&padding_[slot.offset], slot.size, 0);
    buffers_ = values.buffers;
  }

  const IdlMsgDesc& desc() const { return desc_; }

  /// Both encodings of record read back; returns what is wrong, nothing if all is right. Encodes
  /// it twice, with different padding and over different bytes.
  std::string operator()(const u8* record) const {
    const std::vector<u8> plain(record, record + method_.recordSize);
    std::vector<u8> noisy = plain;
    for (std::size_t i = 0; i < noisy.size(); ++i) noisy[i] ^= padding_[i];
    const std::vector<u8> noisyBefore = noisy;
    std::string error = compact(plain.data(), noisy.data());
    if (error.empty()) error = full(plain.data(), noisy.data());
    if (error.empty() &&
        (noisy != noisyBefore || !std::equal(plain.begin(), plain.end(), record))) {
      error = "record changed";
    }
    return error.empty() ? error : std::string(method_.name) + ", " + error;
  }

 private:
  /// A size query counts an empty buffer's offset field and count, which are not written.
  u32 overcount(const u8* record) const {
    u32 bytes = 0;
    for (const SlotInfo& slot : buffers_) {
      const auto [data, length] = records::loadBuffer(record + slot.offset, slot);
      if (data != nullptr && length == 0) bytes += 8;
    }
    return bytes;
  }

  std::string compact(const u8* plain, const u8* noisy) const {
    const u32 query = desc_.pack(nullptr, plain);
    if (query != desc_.pack(nullptr, noisy)) return "compact: size query varies with padding";
    Output over00(query, 0x00, false);
    Output overFF(query, 0xFF, true);
    u32 capacity = query;
    PackBuf cursor = {over00.data(), &capacity};
    const u32 length = desc_.pack(&cursor, plain);
    cursor.buf = overFF.data();
    if (desc_.pack(&cursor, noisy) != length) return "compact: length varies with padding";
    if (length != query - overcount(plain)) return "compact: size query is not the length";
    if (capacity != query) return "compact: capacity changed";
    const std::string error = Reader(over00.bytes().first(length), overFF.bytes().first(length))
                                  .compact(*method_.table, plain);
    return error.empty() ? error : "compact: " + error;
  }

  std::string full(const u8* plain, const u8* noisy) const {
    if (!buffers_.empty()) return desc_.packFull || desc_.fullSize ? "full encoding" : "";
    const u32 size = desc_.fullSize();
    Output over00(size, 0x00, false);
    Output overFF(size, 0xFF, true);
    if (desc_.packFull(over00.data(), plain) != 0 || desc_.packFull(overFF.data(), noisy) != 0) {
      return "full: not 0 returned";
    }
    const std::string error = Reader(over00.bytes(), overFF.bytes()).full(*method_.table, plain);
    return error.empty() ? error : "full: " + error;
  }

  const Method& method_;
  IdlMsgDesc desc_;
  std::vector<u8> padding_;  ///< FF where the record has padding, else 00
  std::vector<SlotInfo> buffers_;
};

}  // namespace read_back

#endif
