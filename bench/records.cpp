#include "bench/records.h"

#include <cstring>
#include <random>

namespace bench {
namespace {

/// Other records for every message, the same in every process.
u32 seedOf(const char* name) {
  u32 seed = 1;
  for (; *name != '\0'; ++name) seed = seed * 31 + static_cast<u8>(*name);
  return seed;
}

class Filler {
 public:
  Filler(Pattern pattern, Records& records, u32 seed)
      : pattern_(pattern), records_(records), random_(seed) {}

  void fill(const codec::TableInfo& table, u8* record) {
    for (u32 i = 0; i < table.slotCount; ++i) fillSlot(table.slots[i], record);
  }

 private:
  void fillSlot(const codec::SlotInfo& slot, u8* record) {
    switch (slot.kind) {
      case codec::Kind::scalar:
        if (isSet()) fillBytes(record + slot.offset, slot.width);
        break;
      case codec::Kind::vector:
        fillBytes(record + slot.offset, slot.size);
        break;
      case codec::Kind::table:
      case codec::Kind::tables:
        for (u32 i = 0; i < slot.count; ++i) {
          fill(*slot.table, record + slot.offset + i * slot.width);
        }
        break;
      case codec::Kind::buffer:
        fillBuffer(slot, record);
        break;
    }
  }

  bool isSet() {
    ++scalars_;
    if (pattern_ == Pattern::mixed) return random_() % 2 == 0;
    return pattern_ == Pattern::all || (pattern_ == Pattern::half && scalars_ % 2 == 0);
  }

  void fillBytes(u8* bytes, u32 size) {
    if (pattern_ == Pattern::zero) return;
    for (u32 i = 0; i < size; ++i) bytes[i] = static_cast<u8>(1 + random_() % 255);
  }

  void fillBuffer(const codec::SlotInfo& slot, u8* record) {
    if (pattern_ == Pattern::zero) return;
    const u32 length = pattern_ == Pattern::mixed ? static_cast<u32>(1 + random_() % 128) : 64;
    u8* const bytes = records_.buffers.emplace_back(std::make_unique<u8[]>(length)).get();
    fillBytes(bytes, length);
    std::memcpy(record + slot.offset, &length, sizeof length);
    std::memcpy(record + slot.offset + slot.size - sizeof bytes, &bytes, sizeof bytes);
  }

  Pattern pattern_;
  Records& records_;
  std::mt19937 random_;
  u32 scalars_ = 0;
};

}  // namespace

const char* nameOf(Pattern pattern) {
  constexpr const char* names[] = {"zero", "half", "all", "mixed"};
  return names[static_cast<std::size_t>(pattern)];
}

Records makeRecords(const codec::TableInfo& table, Pattern pattern) {
  Records records{table.recordSize, pattern == Pattern::mixed ? 64u : 1u, {}, {}};
  records.bytes.resize(std::size_t{records.size} * records.count);
  Filler filler(pattern, records, seedOf(table.name));
  for (u32 i = 0; i < records.count; ++i)
    filler.fill(table, records.bytes.data() + i * records.size);
  return records;
}

}  // namespace bench
