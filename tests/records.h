#ifndef TESTS_RECORDS_H
#define TESTS_RECORDS_H

// Makes records of any method, value by value through its slot list. Values are words of the host,
// so that one seed makes the same records in any byte order.

#include <cstring>
#include <vector>

#include "methods/methods.h"

namespace records {

using methods::Kind;
using methods::Slot;
using methods::Table;

/// Calls f with a value of the unsigned type of that width.
template <class F>
auto withWord(u32 width, F f) {
  if (width == 1) return f(u8{});
  if (width == 2) return f(u16{});
  return f(u32{});
}

inline u32 loadWord(const u8* from, u32 width) {
  return withWord(width, [from](auto word) {
    std::memcpy(&word, from, sizeof word);
    return u32{word};
  });
}

inline void storeWord(u8* to, u32 width, u32 value) {
  withWord(width, [to, value](auto word) {
    word = static_cast<decltype(word)>(value);
    std::memcpy(to, &word, sizeof word);
  });
}

/// A caller's buffer, as a record holds it.
struct Buffer {
  const u8* data;
  u32 length;
};

inline std::size_t pointerOffset(const Slot& slot) {
  return slot.size - sizeof(const u8*);
}

inline Buffer loadBuffer(const u8* from, const Slot& slot) {
  Buffer buffer = {nullptr, loadWord(from, sizeof buffer.length)};
  std::memcpy(&buffer.data, from + pointerOffset(slot), sizeof buffer.data);
  return buffer;
}

/// Whether the record has anything to send for the slot.
inline bool isSent(const u8* member, const Slot& slot) {
  if (slot.kind != Kind::buffer) return true;
  const Buffer lent = loadBuffer(member, slot);
  return lent.data != nullptr && lent.length != 0;
}

inline void storeBuffer(u8* to, const Slot& slot, Buffer buffer) {
  std::memcpy(to, &buffer.length, sizeof buffer.length);
  std::memcpy(to + pointerOffset(slot), &buffer.data, sizeof buffer.data);
}

struct Word {
  u32 offset;
  u32 width;
};

/// The positions of a record's values, those of nested records included.
struct Values {
  std::vector<Word> scalars;
  std::vector<Word> elements;  ///< of arrays
  std::vector<Slot> buffers;   ///< offsets in the whole record
};

inline void collect(const Table& table, u32 base, Values& values) {
  for (Slot slot : table.slots) {
    slot.offset += base;
    if (slot.kind == Kind::scalar) values.scalars.push_back({slot.offset, slot.width});
    if (slot.kind == Kind::buffer) values.buffers.push_back(slot);
    for (u32 n = 0; slot.kind == Kind::vector && n < slot.count; ++n) {
      values.elements.push_back({slot.offset + n * slot.width, slot.width});
    }
    for (u32 n = 0; slot.table != nullptr && n < slot.count; ++n) {
      collect(*slot.table, slot.offset + n * slot.table->recordSize, values);
    }
  }
}

/// Random numbers, the same on every machine.
class Random {
 public:
  explicit Random(u64 seed) : state_(seed) {}
  u64 next() {
    u64 z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }
  u32 below(u32 limit) { return static_cast<u32>(next() % limit); }

 private:
  u64 state_;
};

/// Makes records of one type. Padding stays zero.
class Maker {
 public:
  Maker(const Table& table, u64 seed)
      : random_(seed), record_(table.recordSize), pool_(bufferLimit) {
    collect(table, 0, values);
    for (u8& byte : pool_) byte = static_cast<u8>(random_.next());
  }

  u8* record() { return record_.data(); }

  /// A record whose scalar i is non-zero if bit i of presence is set. Arrays and buffers vary.
  u8* make(u64 presence) {
    for (std::size_t i = 0; i < values.scalars.size(); ++i) {
      const Word word = values.scalars[i];
      storeWord(&record_[word.offset], word.width, presence >> i & 1 ? nonZero(word.width) : 0);
    }
    const u64 mask = random_.below(8) == 0 ? 0 : UINT64_MAX;
    for (const Word word : values.elements) {
      storeWord(&record_[word.offset], word.width, static_cast<u32>(random_.next() & mask));
    }
    for (const Slot& slot : values.buffers) {
      const u32 length = random_.below(4) == 0 ? 0 : random_.below(bufferLimit + 1);
      const u8* data = random_.below(4) == 0 ? nullptr : &pool_[bufferLimit - length];
      storeBuffer(&record_[slot.offset], slot, {length == 0 && data ? &pool_[0] : data, length});
    }
    return record();
  }

  /// Presence of scalars for the k-th record: all patterns in turn up to 16 scalars, else some of
  /// many densities.
  u64 presence(u64 k) {
    if (values.scalars.size() <= 16 || k == 0) return k;
    const u64 a = random_.next();
    const u64 b = random_.next();
    return k % 4 == 0 ? a & b : k % 4 == 1 ? a | b : k % 4 == 2 ? a : UINT64_MAX;
  }

  Values values;

 private:
  static constexpr u32 bufferLimit = 64;

  /// Often a value with a single byte that is not zero, in any of its bytes.
  u32 nonZero(u32 width) {
    const u64 dice = random_.next();
    const u32 byte = 1 + static_cast<u32>(dice >> 8) % 255;
    if (dice % 2 == 0) return byte << (dice >> 32) % width * 8;
    const u32 word = static_cast<u32>(dice >> 32) >> (4 - width) * 8;
    return word == 0 ? byte : word;
  }

  Random random_;
  std::vector<u8> record_;
  std::vector<u8> pool_;
};

}  // namespace records

#endif
