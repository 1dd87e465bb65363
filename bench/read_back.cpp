#include <cstring>

#include "bench/subjects.h"
#include "tests/records.h"

namespace bench {
namespace {

using flatbuffers::Table;
using Tables = flatbuffers::Vector<flatbuffers::Offset<Table>>;

bool holdsTable(const methods::Table& info, const Table* table, const u8* record);

/// A vector's count precedes its bytes, whatever its elements are.
bool holdsVector(const u8* vector, u32 count, const u8* bytes, u32 size) {
  return vector != nullptr && flatbuffers::ReadScalar<u32>(vector) == count &&
         std::memcmp(vector + sizeof count, bytes, size) == 0;
}

bool holdsBuffer(const methods::Slot& slot, const u8* vector, const u8* record) {
  const auto [bytes, length] = records::loadBuffer(record + slot.offset, slot);
  if (bytes == nullptr || length == 0) return vector == nullptr;
  return holdsVector(vector, length, bytes, length);
}

bool holdsTables(const methods::Slot& slot, const Tables* tables, const u8* members) {
  if (tables == nullptr || tables->size() != slot.count) return false;
  for (u32 i = 0; i < slot.count; ++i) {
    if (!holdsTable(*slot.table, tables->Get(i), members + i * slot.width)) return false;
  }
  return true;
}

bool holdsSlot(const methods::Slot& slot, const Table& table, flatbuffers::voffset_t field,
               const u8* record) {
  const u8* const member = record + slot.offset;
  switch (slot.kind) {
    case methods::Kind::scalar:
      return records::withWord(slot.width, [&](auto zero) {
        return table.GetField(field, zero) == records::loadWord(member, sizeof zero);
      });
    case methods::Kind::vector:
      return holdsVector(table.GetPointer<const u8*>(field), slot.count, member, slot.size);
    case methods::Kind::table:
      return holdsTable(*slot.table, table.GetPointer<const Table*>(field), member);
    case methods::Kind::tables:
      return holdsTables(slot, table.GetPointer<const Tables*>(field), member);
    case methods::Kind::buffer:
      return holdsBuffer(slot, table.GetPointer<const u8*>(field), record);
  }
  return false;
}

bool holdsTable(const methods::Table& info, const Table* table, const u8* record) {
  if (table == nullptr) return false;
  for (u32 i = 0; i < info.slots.size(); ++i) {
    const auto slot = static_cast<flatbuffers::voffset_t>(i);
    if (!holdsSlot(info.slots[i], *table, flatbuffers::FieldIndexToOffset(slot), record)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool holds(const methods::Table& table, const u8* encoding, const u8* record) {
  return holdsTable(table, flatbuffers::GetRoot<Table>(encoding), record);
}

}  // namespace bench
