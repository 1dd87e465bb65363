#ifndef TESTS_WIRE_H
#define TESTS_WIRE_H

// Runs encoders the way a runtime would, on memory that ends at a guard page, and tells what is
// wrong with what they wrote. No test framework is needed.

#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else
#define VALGRIND_MAKE_MEM_UNDEFINED(address, size) 0
#endif

#include <sstream>

#include "guarded.h"
#include "model.h"

namespace wire {

using model::Picture;

/// What text like "0C00 . 32*00 3*--" tells: pairs in groups of any length, "." between fields,
/// "32*00" for 32 equal bytes, "--" for one that is not written.
inline Picture expand(const std::string& text) {
  Picture picture;
  std::istringstream groups(text);
  for (std::string group; groups >> group;) {
    if (group == ".") continue;
    const std::size_t star = group.find('*');
    const int times = star == std::string::npos ? 1 : std::stoi(group);
    if (star != std::string::npos) group.erase(0, star + 1);
    for (int n = 0; n < times; ++n) {
      for (std::size_t i = 0; i + 1 < group.size(); i += 2) {
        const std::string pair = group.substr(i, 2);
        picture.push_back(pair == "--" ? model::open
                                       : static_cast<std::int16_t>(std::stoi(pair, nullptr, 16)));
      }
    }
  }
  return picture;
}

/// A method's encoders at work. Each record is encoded twice: as it is over bytes 00, and with
/// other bytes in its padding over bytes FF at an odd address. What then differs was not written,
/// or was made of padding. Under valgrind the padding is undefined besides.
class Encoders {
 public:
  explicit Encoders(const Method& told) : method(told), desc(describe(told.setIdl)) {
    records::Values values;
    records::collect(*told.table, 0, values);
    padding_.assign(told.recordSize, 0x5A);
    const auto tell = [this](u32 from, u32 size) { std::fill_n(&padding_[from], size, u8{0}); };
    for (const auto& [offset, width] : values.scalars) tell(offset, width);
    for (const auto& [offset, width] : values.elements) tell(offset, width);
    for (const records::SlotInfo& slot : values.buffers) tell(slot.offset, slot.size);
  }

  /// Encodes and returns what breaks the encoders' contract, nothing when all is well. Bytes of the
  /// encodings are then to be had below.
  std::string run(const u8* record) {
    const std::vector<u8> before(record, record + method.recordSize);
    plain_ = recordHere_.last(record, method.recordSize);
    noisy_ = recordThere_.last(record, method.recordSize);
    for (u32 i = 0; i < method.recordSize; ++i) {
      noisy_[i] ^= padding_[i];
      if (padding_[i] != 0) (void)VALGRIND_MAKE_MEM_UNDEFINED(noisy_ + i, 1);
    }
    std::string error = runCompact();
    if (error.empty() && desc.packFull != nullptr) error = runFull();
    const bool changed = !std::equal(before.begin(), before.end(), plain_);
    return changed ? "record changed" : error;
  }

  /// run(), and what differs from the model in either encoding.
  std::string check(const u8* record) {
    using model::Encoding;
    const std::string error = run(record);
    if (!error.empty()) return std::string(method.name) + ": " + error;
    const Encoding expected(Encoding::compact, *method.table, record);
    std::string wrong = model::difference(expected.bytes, compact, expected);
    if (!wrong.empty()) return std::string(method.name) + ", compact: " + wrong;
    if (desc.packFull == nullptr) return "";
    const Encoding block(Encoding::full, *method.table, record);
    wrong = model::difference(block.bytes, full, block);
    return wrong.empty() ? "" : std::string(method.name) + ", full: " + wrong;
  }

  const Method& method;
  const IdlMsgDesc desc;
  Picture compact, full;

 private:
  std::string runCompact() {
    query_ = desc.pack(nullptr, plain_);
    if (query_ != desc.pack(nullptr, noisy_)) return "size query varies with padding";
    u32 capacity = query_;
    PackBuf cursor = {here_.last(query_, 0x00), &capacity};
    const u8* const over00 = cursor.buf;
    const u32 length = desc.pack(&cursor, plain_);
    cursor.buf = there_.last(query_ + 1, 0xFF);
    if (desc.pack(&cursor, noisy_) != length) return "length varies with padding";
    if (length + lengthOfEmptyBuffer() != query_) return "length is not what the size query told";
    if (capacity != query_ || cursor.buf[query_] != 0xFF) return "capacity or byte behind changed";
    look(over00, cursor.buf, length, compact);
    return "";
  }
  std::string runFull() {
    const u32 size = desc.fullSize();
    u8* const over00 = here_.last(size, 0x00);
    u8* const overFF = there_.last(size + 1, 0xFF);
    const bool zero = desc.packFull(over00, plain_) == 0 && desc.packFull(overFF, noisy_) == 0;
    look(over00, overFF, size, full);
    return zero && overFF[size] == 0xFF ? "" : "full encoder does not return 0 or writes behind";
  }

  /// A size query counts an empty buffer's offset field and count, which are not written.
  u32 lengthOfEmptyBuffer() const {
    if (desc.packFull != nullptr) return 0;
    const records::SlotInfo& slot = method.table->slots[method.table->slotCount - 1];
    const records::Buffer lent = records::loadBuffer(plain_ + slot.offset, slot);
    return lent.data != nullptr && lent.length == 0 ? 8 : 0;
  }

  static constexpr std::int16_t torn = -2;  ///< made of padding

  static void look(const u8* over00, const u8* overFF, u32 size, Picture& picture) {
    picture.resize(size);
    for (u32 i = 0; i < size; ++i) {
      const bool untouched = over00[i] == 0x00 && overFF[i] == 0xFF;
      picture[i] = over00[i] == overFF[i] ? over00[i] : untouched ? model::open : torn;
    }
  }

  std::vector<u8> padding_;  ///< what to turn where the record has padding, else 00
  Guarded recordHere_, recordThere_, here_, there_;
  u8* plain_ = nullptr;
  u8* noisy_ = nullptr;
  u32 query_ = 0;
};

}  // namespace wire

#endif
