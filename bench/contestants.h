#ifndef BENCH_CONTESTANTS_H
#define BENCH_CONTESTANTS_H

// The encoders that are compared.

#include <cstring>
#include <functional>

#include "bench/subjects.h"

namespace bench {

/// Encodes the current record and returns the length of its encoding. Contains everything that a
/// turn needs, so that the loop around it can keep it in registers.
template <class Encode>
struct Contestant {
  Encode encode;
  const Encodings* expected;
  u32 count;                            ///< of records in turn
  std::function<const u8*()> output{};  ///< its last output, unless it writes nothing

  /// Whether this sum of lengths, and the bytes of the last turn, are right after so many turns.
  bool isRight(u64 turns, u64 sum) const {
    const u32 last = count - 1;
    return sum == turns / count * expected->total(count) &&
           (!output || std::memcmp(output(), expected->bytes(last), expected->length(last)) == 0);
  }
};

/// The current record.
struct Turns {
  const u8* records;
  u32 size;
  u32 mask;
  const u8* operator()(u32 i) const { return records + std::size_t{i & mask} * size; }
};

/// The floor: the C library copies the record, then the encoding. No size is a constant: g++ would
/// inline the copy, which is slower.
inline auto floorOf(Subject& subject, const Turns& record, const Encodings& encodings) {
  return [record, size = std::size_t{record.size}, scratch = subject.scratch.begin(),
          out = subject.out.begin(), from = encodings.bytes(0), ends = encodings.ends()](u32 i) {
    const u32* const end = ends + (i & record.mask);
    const u32 length = end[1] - end[0];
    std::memcpy(scratch, record(i), size);
    std::memcpy(out, from + end[0], length);
    return length;
  };
}

/// Calls run(name, contestant) for every contestant that can encode the subject.
template <class Run>
void forEachContestant(Subject& s, const Pattern& pattern, Run run) {
  const std::string name = std::string("/") + s.message->table->name + "/" + pattern.name;
  const auto enter = [&](const char* who, auto encode, const Encodings& expected, auto output) {
    run(who + name, Contestant<decltype(encode)>{encode, &expected, pattern.count, output});
  };
  const Turns record = {s.records.begin(), s.message->table->recordSize, pattern.count - 1};
  const auto compact = [record, pack = s.desc.pack, cursor = &s.cursor](u32 i) {
    return pack(cursor, record(i));
  };
  const auto size = [record, pack = s.desc.pack](u32 i) { return pack(nullptr, record(i)); };
  const auto pair = [record, pack = s.desc.pack, out = s.out.begin()](u32 i) {
    u32 capacity = pack(nullptr, record(i));
    PackBuf cursor = {out, &capacity};
    return pack(&cursor, record(i));
  };
  const auto builder = [record, feed = s.message->feed, made = &s.builder](u32 i) {
    return feed(*made, record(i));
  };
  const auto full = [record, packFull = s.desc.packFull, out = s.fullOut.begin(),
                     length = s.message->fullWritten](u32 i) {
    return packFull(out, record(i)) + length;
  };
  const auto out = [&s] { return s.out.begin(); };
  enter("compact", compact, s.compact, out);
  enter("size", size, s.compact, nullptr);
  enter("pair", pair, s.compact, out);
  enter("builder", builder, s.built, [&s] { return s.builder.GetBufferPointer(); });
  enter("floor", floorOf(s, record, s.compact), s.compact, out);
  if (s.message->fullWritten == 0) return;
  enter("full", full, s.full, [&s] { return s.fullOut.begin(); });
  enter("fullfloor", floorOf(s, record, s.full), s.full, out);
}

}  // namespace bench

#endif
