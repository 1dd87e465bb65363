#include "bench/subjects.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>

#include "tests/model.h"
#include "tests/records.h"

namespace bench {
namespace {

enum class Presence { none, random, all };

/// Fills the records of one message, the same in every process and different for every message.
class Filler {
 public:
  Filler(Subject& subject, Presence presence)
      : subject_(subject), presence_(presence), random_(seedOf(subject.message->table->name)) {
    records::collect(*subject.message->table, 0, values_);
  }

  void addRecord() {
    std::vector<u8> record(subject_.message->table->recordSize);
    if (presence_ != Presence::none) fill(record.data());
    subject_.records.append(record.data(), record.size());
  }

 private:
  static u32 seedOf(const std::string& name) {
    return std::accumulate(name.begin(), name.end(), 1u,
                           [](u32 seed, char c) { return seed * 31 + static_cast<u8>(c); });
  }

  void fill(u8* record) {
    for (const auto& [offset, width] : values_.scalars) {
      if (presence_ == Presence::all || random_() % 2 == 0) fillBytes(record + offset, width);
    }
    for (const auto& [offset, width] : values_.elements) fillBytes(record + offset, width);
    for (const auto& slot : values_.buffers) {
      const u32 length = presence_ == Presence::all ? 64 : static_cast<u32>(1 + random_() % 128);
      u8* const bytes = subject_.buffers.emplace_back(std::make_unique<u8[]>(length)).get();
      fillBytes(bytes, length);
      records::storeBuffer(record + slot.offset, slot, {bytes, length});
    }
  }

  void fillBytes(u8* bytes, u32 size) {
    std::generate_n(bytes, size, [this] { return static_cast<u8>(1 + random_() % 255); });
  }

  Subject& subject_;
  Presence presence_;
  records::Values values_;
  std::mt19937 random_;
};

/// Whether an encoding has every byte where the model has it; the full one's end may be open.
bool isAsModelled(model::Encoding::Form form, const Message& message, const u8* record,
                  const u8* bytes, u32 length) {
  const model::Picture picture = model::Encoding(form, *message.table, record).bytes;
  const bool fits =
      form == model::Encoding::full ? length <= picture.size() : length == picture.size();
  return fits && std::equal(bytes, bytes + length, picture.begin(), [](u8 byte, int wanted) {
           return wanted == model::open || wanted == byte;
         });
}

/// Keeps an encoder's output, if it is right.
void keep(Encodings& encodings, bool right, const Message& message, const u8* bytes, u32 length,
          const char* encoder) {
  if (length == 0 || !right) {
    std::fprintf(stderr, "mqc_bench: %s: %s encoding does not hold the record\n",
                 message.table->name, encoder);
    std::exit(1);
  }
  encodings.add(bytes, length);
}

void encode(Subject& subject, const u8* record) {
  const Message& message = *subject.message;
  u32 capacity = subject.desc.pack(nullptr, record);
  std::vector<u8> out(capacity);
  PackBuf cursor = {out.data(), &capacity};
  const u32 length = subject.desc.pack(&cursor, record);
  keep(subject.compact,
       length == capacity &&
           isAsModelled(model::Encoding::compact, message, record, out.data(), length),
       message, out.data(), length, "compact");
  subject.capacity = std::max(subject.capacity, capacity);

  const u32 built = message.feed(subject.builder, record);
  const u8* const bytes = subject.builder.GetBufferPointer();
  keep(subject.built, holds(*message.table, bytes, record), message, bytes, built, "builder's");

  if (subject.desc.packFull == nullptr) return;
  out.assign(subject.desc.fullSize(), 0);
  subject.desc.packFull(out.data(), record);
  const u32 written = message.fullWritten;
  keep(subject.full, isAsModelled(model::Encoding::full, message, record, out.data(), written),
       message, out.data(), written, "full");
}

/// Every encoder's output for the subject's records, and room to repeat it.
void encodeAll(Subject& subject) {
  const u32 size = subject.message->table->recordSize;
  for (std::size_t at = 0; at < subject.records.size(); at += size) {
    encode(subject, subject.records.begin() + at);
  }
  subject.out = Memory(Use::output, std::max(subject.capacity, subject.message->fullWritten));
  subject.fullOut = Memory(Use::output, subject.message->fullWritten);
  subject.scratch = Memory(Use::scratch, size);
  subject.cursor = {subject.out.begin(), &subject.capacity};
}

void addFilled(Subjects& subjects, const Message& message, Presence presence,
               const std::vector<Pattern>& patterns) {
  Subject& subject = *subjects.emplace_back(std::make_unique<Subject>(message, patterns));
  Filler filler(subject, presence);
  for (u32 i = 0; i < patterns.back().count; ++i) filler.addRecord();
  encodeAll(subject);
}

void addBatch(Subjects& subjects, const Message& message, u32 length) {
  const std::vector<Pattern> patterns = {{std::to_string(length) + "B", 1}};
  Subject& subject = *subjects.emplace_back(std::make_unique<Subject>(message, patterns));
  u8* const bytes = subject.buffers.emplace_back(std::make_unique<u8[]>(length)).get();
  std::iota(bytes, bytes + length, u8{1});
  const MQC_BrkBatchMsg record = {1, 2, 3, length, bytes};
  subject.records.append(reinterpret_cast<const u8*>(&record), sizeof record);
  encodeAll(subject);
}

}  // namespace

Subjects makeSubjects(const std::vector<Message>& messages, u32 randomRecords) {
  std::vector<Pattern> counts;
  for (u32 n = 1; n <= randomRecords; n *= 4) counts.push_back({std::to_string(n), n});
  Subjects subjects;
  for (const Message& message : messages) {
    addFilled(subjects, message, Presence::none, {{"none", 1}});
    addFilled(subjects, message, Presence::all, {{"all", 1}});
    addFilled(subjects, message, Presence::random, counts);
    if (message.fullWritten != 0) continue;
    for (u32 length = 1024; length <= 65536; length *= 2) addBatch(subjects, message, length);
  }
  return subjects;
}

}  // namespace bench
