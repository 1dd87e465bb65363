#ifndef BENCH_SUBJECTS_H
#define BENCH_SUBJECTS_H

// What the contestants work on: records of one type filled after one pattern, and what every
// encoder is expected to make of them.

#include <memory>
#include <string>
#include <vector>

#include "bench/messages.h"
#include "bench/records.h"

namespace bench {

/// What a piece of memory is used for, and where in its page it starts: far enough from the others
/// that no load waits for an unrelated store 4096 bytes away, whatever the heap does.
enum class Use : u32 { record = 0, scratch = 704, encoding = 1408, output = 2816 };

class Memory {
 public:
  /// The next bytes of a page that nobody has taken.
  u8* take(std::size_t size, Use use);

 private:
  struct alignas(4096) Page {
    u8 bytes[4096];
  };
  std::vector<std::vector<Page>> pieces_;
};

/// Encodings of records that are encoded in turn, each from the start of a cache line.
class Outputs {
 public:
  Outputs() = default;
  Outputs(Memory& memory, const std::vector<std::vector<u8>>& encodings);

  u32 count() const { return static_cast<u32>(encodings_.size()); }
  const u8* bytes(u32 i) const { return encodings_[i].bytes; }
  u32 length(u32 i) const { return encodings_[i].length; }
  u32 longest() const;
  /// Of the lengths after so many turns.
  u64 totalAfter(u64 turns) const;
  /// Whether bytes has the checksum of the encoding written in the last of so many turns.
  bool lastIs(u64 turns, const u8* bytes) const;
  u32 checksum() const;

 private:
  struct Encoding {
    const u8* bytes;
    u32 length;
  };
  std::vector<Encoding> encodings_;
};

struct Subject {
  Subject(std::string title, const Message* of, Records filled)
      : name(std::move(title)), message(of), records(std::move(filled)) {}

  std::string name;  ///< message and pattern
  const Message* message;
  IdlMsgDesc desc;
  Records records;
  Memory memory;
  const u8* record;  ///< the first
  Outputs compact;
  Outputs full;   ///< none for a message without a full encoding
  Outputs built;  ///< by the builder
  u8* out;
  u8* fullOut;  ///< apart: what the full encoder leaves unwritten stays 0
  u8* scratch;
  u32 capacity;
  flatbuffers::FlatBufferBuilder builder;
};

using Subjects = std::vector<std::unique_ptr<Subject>>;

/// Every message in every pattern. Ends the process with a message when an encoding does not hold
/// what its record holds.
Subjects makeSubjects(const std::vector<Message>& messages);

/// The batch message with growing buffers.
Subjects makeBatches(const std::vector<Message>& messages);

/// Slots, those of nested tables counted as often as they are encoded.
u32 fieldCount(const codec::TableInfo& table);

}  // namespace bench

#endif
