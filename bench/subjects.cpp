#include "bench/subjects.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>

#include "bench/read_back.h"

namespace bench {
namespace {

using Encodings = std::vector<std::vector<u8>>;

/// Checks what an encoder wrote and keeps it.
void keep(Encodings& encodings, const Message& message, const u8* record, const u8* bytes,
          u32 length, const char* encoder) {
  if (length == 0 || !holds(*message.table, bytes, record)) {
    std::fprintf(stderr, "mqc_bench: %s: %s encoding does not hold the record\n",
                 message.table->name, encoder);
    std::exit(1);
  }
  encodings.emplace_back(bytes, bytes + length);
}

struct AllEncodings {
  Encodings compact, full, built;
};

void encode(AllEncodings& all, const Message& message, const u8* record) {
  IdlMsgDesc desc;
  message.setIdl(&desc);
  u32 capacity = desc.pack(nullptr, record);
  std::vector<u8> out(capacity);
  PackBuf cursor = {out.data(), &capacity};
  const u32 length = desc.pack(&cursor, record);
  keep(all.compact, message, record, out.data(), length == capacity ? length : 0, "compact");

  flatbuffers::FlatBufferBuilder builder;
  const u32 built = message.feed(builder, record);
  keep(all.built, message, record, builder.GetBufferPointer(), built, "builder's");

  if (desc.packFull == nullptr) return;
  out.assign(desc.fullSize(), 0);
  desc.packFull(out.data(), record);
  keep(all.full, message, record, out.data(), message.fullWritten, "full");
}

AllEncodings encodeAll(const Message& message, const Records& records) {
  AllEncodings all;
  for (u32 i = 0; i < records.count; ++i) {
    encode(all, message, records.bytes.data() + i * records.size);
  }
  return all;
}

const u8* copyRecords(Memory& memory, const Records& records) {
  u8* const copy = memory.take(records.bytes.size(), Use::record);
  std::memcpy(copy, records.bytes.data(), records.bytes.size());
  return copy;
}

std::unique_ptr<Subject> makeSubject(const Message& message, const std::string& pattern,
                                     Records records) {
  const AllEncodings all = encodeAll(message, records);
  auto subject = std::make_unique<Subject>(std::string(message.table->name) + "/" + pattern,
                                           &message, std::move(records));
  message.setIdl(&subject->desc);
  Memory& memory = subject->memory;
  subject->record = copyRecords(memory, subject->records);
  subject->scratch = memory.take(subject->records.size, Use::scratch);
  subject->compact = Outputs(memory, all.compact);
  subject->full = Outputs(memory, all.full);
  subject->built = Outputs(memory, all.built);
  subject->capacity = subject->compact.longest();
  subject->out = memory.take(std::max(subject->capacity, message.fullWritten), Use::output);
  subject->fullOut = memory.take(message.fullWritten, Use::output);
  return subject;
}

Records makeBatch(u32 length) {
  Records records{sizeof(MQC_BrkBatchMsg), 1, std::vector<u8>(sizeof(MQC_BrkBatchMsg)), {}};
  u8* const bytes = records.buffers.emplace_back(std::make_unique<u8[]>(length)).get();
  std::iota(bytes, bytes + length, u8{1});
  const MQC_BrkBatchMsg record = {1, 2, 3, length, bytes};
  std::memcpy(records.bytes.data(), &record, sizeof record);
  return records;
}

u32 checksumOf(const u8* bytes, std::size_t size, u32 seed = 2166136261u) {
  for (std::size_t i = 0; i < size; ++i) seed = (seed ^ bytes[i]) * 16777619u;
  return seed;
}

}  // namespace

u8* Memory::take(std::size_t size, Use use) {
  const auto start = static_cast<std::size_t>(use);
  pieces_.emplace_back((start + size) / sizeof(Page) + 1);
  return pieces_.back().front().bytes + start;
}

Outputs::Outputs(Memory& memory, const Encodings& encodings) {
  const auto lines = [](const auto& one) { return (one.size() + 63) / 64 * 64; };
  std::size_t size = 0;
  for (const auto& one : encodings) size += lines(one);
  u8* next = memory.take(size, Use::encoding);
  for (const auto& one : encodings) {
    std::memcpy(next, one.data(), one.size());
    encodings_.push_back({next, static_cast<u32>(one.size())});
    next += lines(one);
  }
}

u32 Outputs::longest() const {
  u32 longest = 0;
  for (const Encoding& one : encodings_) longest = std::max(longest, one.length);
  return longest;
}

u64 Outputs::totalAfter(u64 turns) const {
  u64 total = 0;
  for (u32 i = 0; i < count(); ++i) {
    total += length(i) * (turns / count() + (i < turns % count() ? 1 : 0));
  }
  return total;
}

bool Outputs::lastIs(u64 turns, const u8* bytes) const {
  const Encoding& last = encodings_[(turns - 1) % count()];
  return checksumOf(last.bytes, last.length) == checksumOf(bytes, last.length);
}

u32 Outputs::checksum() const {
  u32 sum = 2166136261u;
  for (const Encoding& one : encodings_) sum = checksumOf(one.bytes, one.length, sum);
  return sum;
}

Subjects makeSubjects(const std::vector<Message>& messages) {
  Subjects subjects;
  for (const Message& message : messages) {
    for (const Pattern pattern : patterns) {
      subjects.push_back(
          makeSubject(message, nameOf(pattern), makeRecords(*message.table, pattern)));
    }
  }
  return subjects;
}

Subjects makeBatches(const std::vector<Message>& messages) {
  const auto batch = std::find_if(messages.begin(), messages.end(),
                                  [](const Message& row) { return row.fullWritten == 0; });
  Subjects subjects;
  for (u32 length = 1024; length <= 65536; length *= 2) {
    subjects.push_back(makeSubject(*batch, std::to_string(length), makeBatch(length)));
  }
  return subjects;
}

u32 fieldCount(const codec::TableInfo& table) {
  u32 count = table.slotCount;
  for (u32 i = 0; i < table.slotCount; ++i) {
    const codec::SlotInfo& slot = table.slots[i];
    if (slot.table != nullptr) count += slot.count * fieldCount(*slot.table);
  }
  return count;
}

}  // namespace bench
