#ifndef TESTS_READER_H
#define TESTS_READER_H

// Reads an encoding back through the FlatBuffers library, slot by slot along the slot list. The
// library finds the fields and reads the values; the order in which they lie is followed byte by
// byte beside it, so that each byte of an encoding is accounted for: it belongs to the item that
// has to stand there, or it is a gap of the full encoding.

#include <flatbuffers/flatbuffers.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string>

#include "records.h"

namespace read_back {

using codec::Kind;
using codec::SlotInfo;
using codec::TableInfo;
using flatbuffers::Table;
using flatbuffers::Verifier;
using flatbuffers::voffset_t;
using records::withWord;

template <class Element>
using Vector = flatbuffers::Vector<Element>;
using Tables = Vector<flatbuffers::Offset<Table>>;

using Bytes = std::span<const u8>;

constexpr std::size_t vtableSize(const TableInfo& info) {
  return 4 + 2 * std::size_t{info.slotCount};
}

/// How the library names the field of a slot: by the place of its offset in the vtable.
constexpr voffset_t idOf(u32 slot) {
  return static_cast<voffset_t>(4 + 2 * slot);
}

/// A field of a table and the member of the record that it carries.
struct Field {
  const Table* table;
  voffset_t id;
  const SlotInfo& slot;
  const u8* member;

  const u8* position() const { return table->GetAddressOf(id); }
  template <class Target>
  const Target* target() const {
    return table->GetPointer<const Target*>(id);
  }
  /// Whether the record has anything to send for it.
  bool isSent() const {
    if (slot.kind != Kind::buffer) return true;
    const records::Buffer buffer = records::loadBuffer(member, slot);
    return buffer.data != nullptr && buffer.length != 0;
  }
};

inline bool verify(Verifier& verifier, const Table* table, const TableInfo& info);

/// Whether the library's verifier finds the field, and all it refers to, inside the encoding.
inline bool verifyField(Verifier& verifier, const Table* table, voffset_t id,
                        const SlotInfo& slot) {
  if (slot.kind == Kind::scalar) {
    return withWord(slot.width, [&verifier, table, id](auto word) {
      return table->VerifyField<decltype(word)>(verifier, id, 1);
    });
  }
  if (!table->VerifyOffset(verifier, id)) return false;
  if (!table->CheckField(id)) return true;
  if (slot.kind == Kind::table) {
    return verify(verifier, table->GetPointer<const Table*>(id), *slot.table);
  }
  if (slot.kind != Kind::tables) {
    return withWord(slot.width, [&verifier, table, id](auto word) {
      return verifier.VerifyVector(table->GetPointer<const Vector<decltype(word)>*>(id));
    });
  }
  const Tables* const tables = table->GetPointer<const Tables*>(id);
  if (!verifier.VerifyVector(tables)) return false;
  for (u32 n = 0; n < tables->size(); ++n) {
    if (!verify(verifier, tables->Get(n), *slot.table)) return false;
  }
  return true;
}

inline bool verify(Verifier& verifier, const Table* table, const TableInfo& info) {
  if (!table->VerifyTableStart(verifier)) return false;
  for (u32 i = 0; i < info.slotCount; ++i) {
    if (!verifyField(verifier, table, idOf(i), info.slots[i])) return false;
  }
  return verifier.EndTable();
}

/// Reads one encoding, given as it came out over bytes 00 and over bytes FF: where the two differ
/// nothing was written.
class Reader {
 public:
  Reader(Bytes over00, Bytes overFF) : bytes_(over00), overFF_(overFF.data()) {}

  /// Each returns what is wrong with the encoding of record, nothing if it is right.
  std::string compact(const TableInfo& info, const u8* record) {
    const bool fine = opens(info) && here("root offset", bytes_.data(), 4) &&
                      compactTable(root(), info, record) && ends();
    return fine ? "" : error_;
  }
  std::string full(const TableInfo& info, const u8* record) {
    const bool fine = opens(info) && fullBlock(root(), info, record) && ends();
    return fine ? "" : error_;
  }

 private:
  using Step = bool (Reader::*)(const Field&);

  bool fail(const std::string& what) {
    error_ = what + " at " + std::to_string(next_);
    return false;
  }

  bool same(const char* what, u64 expected, u64 actual) {
    if (expected == actual) return true;
    return fail(std::string(what) + " " + std::to_string(actual) + ", not " +
                std::to_string(expected));
  }

  /// An item of size bytes stands next, all of it written.
  bool here(const char* what, const void* position, std::size_t size) {
    if (position == nullptr) return fail(std::string(what) + " missing");
    if (!same(what, next_, static_cast<u64>(static_cast<const u8*>(position) - bytes_.data()))) {
      return false;
    }
    if (size > bytes_.size() - next_) return fail(std::string(what) + " past the end");
    if (std::memcmp(position, overFF_ + next_, size) != 0) {
      return fail(std::string(what) + " not all written, or with padding of the record,");
    }
    next_ += size;
    return true;
  }

  /// No byte is written up to end.
  bool gap(std::size_t end) {
    if (end > bytes_.size()) return fail("gap past the end");
    for (; next_ < end; ++next_) {
      if (bytes_[next_] != 0 || overFF_[next_] != 0xFF) return fail("byte written in a gap");
    }
    return true;
  }

  bool opens(const TableInfo& info) {
    Verifier::Options options;
    options.check_alignment = false;
    Verifier verifier(bytes_.data(), bytes_.size(), options);
    return (verifier.VerifyOffset(0) != 0 && verify(verifier, root(), info)) || fail("unverified");
  }
  bool ends() { return same("length", bytes_.size(), next_); }
  const Table* root() const { return flatbuffers::GetRoot<Table>(bytes_.data()); }

  bool each(const Table* table, const TableInfo& info, const u8* record, Step step) {
    for (u32 i = 0; i < info.slotCount; ++i) {
      const SlotInfo& slot = info.slots[i];
      if ((this->*step)({table, idOf(i), slot, record + slot.offset})) continue;
      error_ = std::string(info.name) + " slot " + std::to_string(i) + ": " + error_;
      return false;
    }
    return true;
  }

  bool vtable(const Table* table, const TableInfo& info) {
    const u8* const entry = table->GetVTable();
    return here("vtable", entry, vtableSize(info)) &&
           same("vtable size", vtableSize(info), flatbuffers::ReadScalar<u16>(entry));
  }

  bool tableSize(const Table* table, std::size_t expected) {
    return same("table size", expected, flatbuffers::ReadScalar<u16>(table->GetVTable() + 2));
  }

  bool value(const Field& field) {
    return withWord(field.slot.width, [this, &field](auto zero) {
      return same("value", records::loadWord(field.member, sizeof zero),
                  field.table->GetField(field.id, zero));
    });
  }

  bool vector(const Field& field) {
    if (field.slot.kind == Kind::buffer) {
      const auto [data, length] = records::loadBuffer(field.member, field.slot);
      return elements(field.target<Vector<u8>>(), data, length);
    }
    return withWord(field.slot.width, [this, &field](auto word) {
      return elements(field.target<Vector<decltype(word)>>(), field.member, field.slot.count);
    });
  }

  template <class Word>
  bool elements(const Vector<Word>* vector, const u8* from, u32 count) {
    if (!here("vector", vector, 4 + std::size_t{count} * sizeof(Word)) ||
        !same("count", count, vector->size())) {
      return false;
    }
    if constexpr (sizeof(Word) == 1) {
      return std::memcmp(vector->data(), from, count) == 0 || fail("bytes differ");
    }
    for (u32 i = 0; i < count; ++i) {
      const u32 word = records::loadWord(from + i * sizeof(Word), sizeof(Word));
      if (!same("element", word, vector->Get(i))) return false;
    }
    return true;
  }

  bool elementOffsets(const Field& field) {
    const Tables* const tables = field.target<Tables>();
    return here("element offsets", tables, 4 + 4 * std::size_t{field.slot.count}) &&
           same("count", field.slot.count, tables->size());
  }

  /// The tables of a slot that carries one or many.
  template <class ReadTable>
  bool tables(const Field& field, ReadTable readTable) {
    const SlotInfo& slot = field.slot;
    for (u32 n = 0; n < slot.count; ++n) {
      const Table* const table =
          slot.kind == Kind::table ? field.target<Table>() : field.target<Tables>()->Get(n);
      const u8* const record = field.member + n * slot.table->recordSize;
      if (!(this->*readTable)(table, *slot.table, record)) return false;
    }
    return true;
  }

  // Compact: vtable, scalars that are not zero, offset fields, vectors, nested tables.

  bool compactTable(const Table* table, const TableInfo& info, const u8* record) {
    if (!vtable(table, info)) return false;
    const std::size_t start = next_;
    return here("table", table, 4) && each(table, info, record, &Reader::compactScalar) &&
           each(table, info, record, &Reader::compactOffset) &&
           each(table, info, record, &Reader::compactBody) &&
           tableSize(table, std::min<std::size_t>(next_ - start, 0xFFFF)) &&
           each(table, info, record, &Reader::compactTables);
  }

  bool compactScalar(const Field& field) {
    if (field.slot.kind != Kind::scalar) return true;
    if (records::loadWord(field.member, field.slot.width) == 0) return absent(field);
    return here("scalar", field.position(), field.slot.width) && value(field);
  }

  bool compactOffset(const Field& field) {
    if (field.slot.kind == Kind::scalar) return true;
    return field.isSent() ? here("offset field", field.position(), 4) : absent(field);
  }

  bool absent(const Field& field) {
    return !field.table->CheckField(field.id) || fail("field present");
  }

  bool compactBody(const Field& field) {
    const Kind kind = field.slot.kind;
    if (kind == Kind::scalar || kind == Kind::table || !field.isSent()) return true;
    return kind == Kind::tables ? elementOffsets(field) : vector(field);
  }

  bool compactTables(const Field& field) {
    return field.slot.table == nullptr || tables(field, &Reader::compactTable);
  }

  // Full: a word, the table with all fields, a gap, the vtable, a gap. A message is a block, too.

  bool fullBlock(const Table* table, const TableInfo& info, const u8* record) {
    const std::size_t block = next_;
    const u8* const word = bytes_.data() + block;
    if (!here("block", word, 4) || !same("block's word", 4, flatbuffers::ReadScalar<u32>(word)) ||
        !here("table", table, 4) || !each(table, info, record, &Reader::fullField)) {
      return false;
    }
    const std::size_t start = block + 4;
    const std::size_t size = next_ - start;
    return gap(start + (size + 3) / 4 * 4) && vtable(table, info) && tableSize(table, size) &&
           gap(block + (next_ - block + 7) / 8 * 8);
  }

  bool fullField(const Field& field) {
    switch (field.slot.kind) {
      case Kind::scalar:
        return here("scalar", field.position(), field.slot.width) && value(field);
      case Kind::vector:
        return here("offset field", field.position(), 4) && vector(field);
      case Kind::table:
        return here("offset field", field.position(), 0) && tables(field, &Reader::fullBlock);
      case Kind::tables:
        return here("offset field", field.position(), 4) && elementOffsets(field) &&
               tables(field, &Reader::fullBlock);
      case Kind::buffer:
        break;
    }
    return fail("buffer in a full encoding");
  }

  Bytes bytes_;
  const u8* overFF_;
  std::size_t next_ = 0;  ///< where the next item has to stand
  std::string error_;
};

}  // namespace read_back

#endif
