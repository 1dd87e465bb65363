#ifndef TESTS_MODEL_H
#define TESTS_MODEL_H

// The expected bytes of an encoding and their places, item by item, derived from the record and its
// slot list alone: the encoders are compared with it. It uses nothing of codec/ but the slot lists.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "records.h"

namespace model {

using methods::Kind;
using methods::Slot;
using methods::Table;

/// Bytes, or open where the encoding leaves them unwritten.
using Picture = std::vector<std::int16_t>;
constexpr std::int16_t open = -1;

class Encoding {
 public:
  enum Form { compact, full };

  Encoding(Form form, const Table& info, const u8* record) {
    table_ = &info;
    if (form == full) {
      fullBlock(info, record);
    } else {
      put("root offset", 0, 4);
      patch(0, compactTable(info, record), 4);
    }
  }

  /// The item that the byte belongs to.
  std::string meaning(std::size_t at) const {
    if (at >= bytes.size()) return "behind the end";
    const auto behind = std::ranges::upper_bound(items_, at, {}, &Item::at);
    const auto& [from, what, info, slot] = *(behind - 1);
    return std::string(what) + (slot == none ? " of " : " of slot ") + info->name +
           (slot == none ? "" : '.' + std::string(info->slots[slot].name));
  }

  Picture bytes;

 private:
  static constexpr u32 none = UINT32_MAX;

  struct Item {
    std::size_t at;
    const char* what;
    const Table* table;
    u32 slot;
  };

  std::size_t put(const char* what, std::size_t value, u32 width) {
    const std::size_t at = bytes.size();
    items_.push_back({at, what, table_, slot_});
    bytes.resize(at + width);
    patch(at, value, width);
    return at;
  }
  void patch(std::size_t at, std::size_t value, u32 width) {
    for (u32 i = 0; i < width; ++i, value >>= 8) bytes[at + i] = value & 0xFF;
  }
  void gap(std::size_t from, u32 multiple) {
    items_.push_back({bytes.size(), "gap", table_, none});
    while ((bytes.size() - from) % multiple != 0) bytes.push_back(open);
  }

  /// Calls f with the number, slot and member of every slot.
  template <class F>
  void each(const Table& info, const u8* record, F f) {
    for (u32 i = 0; i < info.slots.size(); ++i) {
      table_ = &info;
      slot_ = i;
      f(i, info.slots[i], record + info.slots[i].offset);
    }
    table_ = &info;
    slot_ = none;
  }

  /// Returns the position of the fields' offsets.
  std::size_t vtable(const Table& info, std::size_t tableSize,
                     const std::vector<std::size_t>& offsets) {
    table_ = &info;
    put("vtable size", 4 + 2 * info.slots.size(), 2);
    const std::size_t size = put("table size", tableSize, 2);
    for (slot_ = 0; slot_ < info.slots.size(); ++slot_) put("field offset", offsets[slot_], 2);
    slot_ = none;
    return size + 2;
  }

  void elements(const Slot& slot, const u8* member) {
    const records::Buffer lent = slot.kind == Kind::buffer ? records::loadBuffer(member, slot)
                                                           : records::Buffer{member, slot.count};
    put("count", lent.length, 4);
    for (u32 n = 0; n < lent.length; ++n) {
      put("element", records::loadWord(lent.data + n * slot.width, slot.width), slot.width);
    }
  }

  /// Returns the position of the first element's offset.
  std::size_t elementOffsets(const Slot& slot) {
    const std::size_t first = put("count", slot.count, 4) + 4;
    for (u32 n = 0; n < slot.count; ++n) put("element offset", 0, 4);
    return first;
  }

  /// Writes the tables of a slot; their offsets are at and behind the passed position.
  template <class Write>
  void tables(const Slot& slot, const u8* member, std::size_t at, Write write) {
    for (u32 n = 0; n < slot.count; ++n, at += 4) {
      const std::size_t table = write(*slot.table, member + n * slot.width);
      patch(at, table - at, 4);
    }
  }

  // Vtable, table offset, scalars that are not zero, offset fields, vectors; then nested tables.
  std::size_t compactTable(const Table& info, const u8* record) {
    std::vector<std::size_t> fields(info.slots.size());
    const std::size_t offsets = vtable(info, 0, fields);
    const std::size_t table = put("table-to-vtable offset", bytes.size() - offsets + 4, 4);
    each(info, record, [&](u32 i, const Slot& slot, const u8* member) {
      if (slot.kind != Kind::scalar || records::loadWord(member, slot.width) == 0) return;
      patch(offsets + 2 * i, bytes.size() - table, 2);
      put("scalar", records::loadWord(member, slot.width), slot.width);
    });
    each(info, record, [&](u32 i, const Slot& slot, const u8* member) {
      if (slot.kind == Kind::scalar || !records::isSent(member, slot)) return;
      patch(offsets + 2 * i, bytes.size() - table, 2);
      fields[i] = put("offset field", 0, 4);
    });
    each(info, record, [&](u32 i, const Slot& slot, const u8* member) {
      if (fields[i] == 0 || slot.kind == Kind::table) return;
      patch(fields[i], bytes.size() - fields[i], 4);
      if (slot.kind != Kind::tables) return elements(slot, member);
      fields[i] = elementOffsets(slot);
    });
    patch(offsets - 2, std::min<std::size_t>(bytes.size() - table, 0xFFFF), 2);
    each(info, record, [&](u32 i, const Slot& slot, const u8* member) {
      if (slot.table == nullptr) return;
      tables(slot, member, fields[i],
             [&](const Table& inner, const u8* from) { return compactTable(inner, from); });
    });
    return table;
  }

  // A word, the table with all its fields, a gap, the vtable, a gap.
  void fullBlock(const Table& info, const u8* record) {
    const std::size_t block = put("block's word", 4, 4);
    const std::size_t table = put("table-to-vtable offset", 0, 4);
    std::vector<std::size_t> offsets;
    each(info, record, [&](u32, const Slot& slot, const u8* member) {
      offsets.push_back(bytes.size() - table);
      if (slot.kind == Kind::table) return fullBlock(*slot.table, member);
      if (slot.kind == Kind::scalar) {
        put("scalar", records::loadWord(member, slot.width), slot.width);
        return;
      }
      put("offset field", 4, 4);
      if (slot.kind != Kind::tables) return elements(slot, member);
      tables(slot, member, elementOffsets(slot), [&](const Table& inner, const u8* from) {
        const std::size_t start = bytes.size() + 4;
        fullBlock(inner, from);
        return start;
      });
    });
    const std::size_t size = bytes.size() - table;
    gap(table, 4);
    patch(table, table - bytes.size(), 4);
    vtable(info, size, offsets);
    gap(block, 8);
  }

  std::vector<Item> items_;
  const Table* table_ = nullptr;
  u32 slot_ = none;
};

/// The first difference, marked among its neighbours, with its item; empty if there is none.
inline std::string difference(const Picture& expected, const Picture& actual,
                              const Encoding& meanings) {
  if (expected == actual) return "";
  const auto pair = std::ranges::mismatch(expected, actual);
  const std::size_t at = static_cast<std::size_t>(pair.in1 - expected.begin());
  const auto around = [at](const Picture& picture) {
    std::string text;
    for (std::size_t i = at < 8 ? 0 : at - 8; i <= at + 8 && i < picture.size(); ++i) {
      char byte[8];
      std::snprintf(byte, sizeof byte, i == at ? " [%02X]" : " %02X", picture[i] & 0xFF);
      text += picture[i] == open ? (i == at ? " [--]" : " --") : byte;
    }
    return text + (at + 8 < picture.size() ? " ..." : " end");
  };
  return "byte " + std::to_string(at) + ", " + meanings.meaning(at) + "\n  expected" +
         around(expected) + "\n  found   " + around(actual);
}

}  // namespace model

#endif
