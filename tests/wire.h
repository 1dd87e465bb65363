#ifndef TESTS_WIRE_H
#define TESTS_WIRE_H

// Runs encoders the way a runtime would, on memory of exactly the size or guarded, and returns what
// is wrong with their output. Needs no test framework.

#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else
#define VALGRIND_MAKE_MEM_UNDEFINED(address, size) 0
#endif

#include <sstream>

#include "methods/functions.h"
#include "model.h"

namespace wire {

using model::Picture;

inline std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);)
    if (!part.empty()) parts.push_back(part);
  return parts;
}

/// The items of a list like "4142,30*00": 4142 and 30 times 00.
inline std::vector<std::string> items(const std::string& list, char separator) {
  std::vector<std::string> all;
  for (const std::string& item : split(list, separator)) {
    const std::size_t star = item.find('*');
    all.insert(all.end(), star == std::string::npos ? 1 : std::stoul(item), item.substr(star + 1));
  }
  return all;
}

/// The number in a text, of base 16 two digits; throws if there is none.
inline u32 number(const std::string& text, int base) {
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, base);
  if (*end == 0 && text.size() >= (base == 16 ? 2 : 1)) return static_cast<u32>(value);
  throw std::invalid_argument("no number: " + text);
}

/// The bytes in text like "0C00 . 32*00 3*--": pairs in groups of any length, "." between fields,
/// "--" for a byte that is not written.
inline Picture expand(const std::string& text) {
  Picture picture;
  for (const std::string& group : items(text, ' ')) {
    for (std::size_t i = 0; group != "." && i < group.size(); i += 2) {
      const std::string pair = group.substr(i, 2);
      picture.push_back(pair == "--" ? model::open : static_cast<std::int16_t>(number(pair, 16)));
    }
  }
  return picture;
}

/// A method's encoders at work. Each record is encoded twice: as it is over bytes 00, and with
/// other bytes in its padding over bytes FF at an odd address. What then differs was not written,
/// or was made of padding. Under valgrind the padding is also undefined.
class Encoders {
 public:
  explicit Encoders(const methods::Method& method)
      : Encoders(*method.request, methods::functionsOf(method).setIdl) {}
  Encoders(const methods::Table& request, void (*setIdl)(IdlMsgDesc* desc))
      : table(request), padding_(request.recordSize, 0x5A) {
    setIdl(&desc);
    records::collect(request, 0, values);
    const auto clear = [this](u32 from, u32 size) { std::fill_n(&padding_[from], size, u8{0}); };
    for (const auto& [offset, width] : values.scalars) clear(offset, width);
    for (const auto& [offset, width] : values.elements) clear(offset, width);
    for (const records::Slot& slot : values.buffers) clear(slot.offset, slot.size);
  }

  /// Encodes and returns what breaks the encoders' contract, or nothing. The members below then
  /// have the bytes of the encodings.
  std::string run(const u8* record) {
    plain_.assign(record, record + table.recordSize);
    noisy_ = plain_;
    for (u32 i = 0; i < table.recordSize; ++i) {
      noisy_[i] ^= padding_[i];
      if (padding_[i] != 0) (void)VALGRIND_MAKE_MEM_UNDEFINED(&noisy_[i], 1);
    }
    std::string error = runCompact();
    if (error.empty() && desc.packFull != nullptr) error = runFull();
    return std::equal(plain_.begin(), plain_.end(), record) ? error : "record changed";
  }

  /// Like run(), and returns differences of either encoding from the model.
  std::string check(const u8* record) {
    using model::Encoding;
    const std::string error = run(record);
    if (!error.empty()) return std::string(table.name) + ": " + error;
    const Encoding expected(Encoding::compact, table, record);
    std::string wrong = model::difference(expected.bytes, compact, expected);
    if (!wrong.empty()) return std::string(table.name) + ", compact: " + wrong;
    if (desc.packFull == nullptr) return "";
    const Encoding block(Encoding::full, table, record);
    wrong = model::difference(block.bytes, full, block);
    return wrong.empty() ? "" : std::string(table.name) + ", full: " + wrong;
  }

  const methods::Table& table;
  IdlMsgDesc desc;
  records::Values values;
  Picture compact, full;

 private:
  std::string runCompact() {
    const u32 query = desc.pack(nullptr, plain_.data());
    if (query != desc.pack(nullptr, noisy_.data())) return "size query varies with padding";
    std::vector<u8> over00(query, 0x00), overFF(query + 1 + guard, 0xFF);
    u32 capacity = query;
    PackBuf cursor = {over00.data(), &capacity};
    const u32 length = desc.pack(&cursor, plain_.data());
    cursor.buf = overFF.data() + 1;
    if (desc.pack(&cursor, noisy_.data()) != length) return "length varies with padding";
    if (length + lengthOfEmptyBuffer() != query)
      return "length is not what the size query returned";
    look(over00, overFF, length, compact);
    if (!isUntouched(overFF, query + 1)) return "compact encoder writes past the end";
    return capacity == query ? "" : "capacity changed";
  }
  std::string runFull() {
    const u32 size = desc.fullSize();
    std::vector<u8> over00(size, 0x00), overFF(size + 1 + guard, 0xFF);
    const u32 result = desc.packFull(over00.data(), plain_.data());
    const u32 other = desc.packFull(overFF.data() + 1, noisy_.data());
    look(over00, overFF, size, full);
    if (!isUntouched(overFF, size + 1)) return "full encoder writes past the end";
    return result == 0 && other == 0 ? "" : "full encoder does not return 0";
  }

  /// A size query counts an empty buffer's offset field and count, which are not written.
  u32 lengthOfEmptyBuffer() const {
    if (values.buffers.empty()) return 0;
    const records::Slot& slot = values.buffers[0];
    const records::Buffer lent = records::loadBuffer(&plain_[slot.offset], slot);
    return lent.data != nullptr && lent.length == 0 ? 8 : 0;
  }

  static constexpr std::int16_t torn = -2;  ///< made of padding
  static constexpr u32 guard = 16;  ///< bytes behind an encoding, for machines without sanitizers

  static bool isUntouched(const std::vector<u8>& bytes, u32 from) {
    return std::all_of(bytes.begin() + from, bytes.end(), [](u8 byte) { return byte == 0xFF; });
  }

  static void look(const std::vector<u8>& over00, const std::vector<u8>& overFF, u32 size,
                   Picture& picture) {
    picture.resize(size);
    for (u32 i = 0; i < size; ++i) {
      const u8 a = over00[i], b = overFF[i + 1];
      picture[i] = a == b ? a : a == 0x00 && b == 0xFF ? model::open : torn;
    }
  }

  std::vector<u8> plain_, noisy_;
  std::vector<u8> padding_;  ///< what to turn where the record has padding, else 00
};

}  // namespace wire

#endif
