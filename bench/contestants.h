#ifndef BENCH_CONTESTANTS_H
#define BENCH_CONTESTANTS_H

// Who encodes. A contestant handles record i of its subject and returns the length of what it
// wrote; afterwards it is told the number of turns and the sum of the lengths, and says whether
// that, and the bytes of the last turn, are what they should be.

#include <cstring>

#include "bench/subjects.h"

namespace bench {

class Contestant {
 public:
  explicit Contestant(const Subject& subject)
      : records_(subject.record), size_(subject.records.size), mask_(subject.records.count - 1) {}

 protected:
  u32 turn(u32 i) const { return i & mask_; }
  const u8* record(u32 i) const { return records_ + turn(i) * size_; }

 private:
  const u8* records_;
  u32 size_;
  u32 mask_;
};

/// What the loop around a contestant takes.
class Nobody : public Contestant {
 public:
  using Contestant::Contestant;
  u32 operator()(u32) const { return 0; }
  bool isRight(u64, u64) const { return true; }
};

class Compact : public Contestant {
 public:
  explicit Compact(Subject& subject)
      : Contestant(subject),
        pack_(subject.desc.pack),
        cursor_{subject.out, &subject.capacity},
        expected_(&subject.compact) {}
  u32 operator()(u32 i) { return pack_(&cursor_, record(i)); }
  bool isRight(u64 turns, u64 total) const {
    return total == expected_->totalAfter(turns) && expected_->lastIs(turns, cursor_.buf);
  }

 private:
  IdlPackFn pack_;
  PackBuf cursor_;
  const Outputs* expected_;
};

class SizeQuery : public Contestant {
 public:
  explicit SizeQuery(const Subject& subject)
      : Contestant(subject), pack_(subject.desc.pack), expected_(&subject.compact) {}
  u32 operator()(u32 i) const { return pack_(nullptr, record(i)); }
  bool isRight(u64 turns, u64 total) const { return total == expected_->totalAfter(turns); }

 private:
  IdlPackFn pack_;
  const Outputs* expected_;
};

class Full : public Contestant {
 public:
  explicit Full(const Subject& subject)
      : Contestant(subject),
        packFull_(subject.desc.packFull),
        out_(subject.fullOut),
        expected_(&subject.full) {}
  u32 operator()(u32 i) const { return packFull_(out_, record(i)); }
  bool isRight(u64 turns, u64 total) const { return total == 0 && expected_->lastIs(turns, out_); }

 private:
  IdlPackFullFn packFull_;
  u8* out_;
  const Outputs* expected_;
};

class BuilderFeed : public Contestant {
 public:
  explicit BuilderFeed(Subject& subject)
      : Contestant(subject),
        feed_(subject.message->feed),
        builder_(&subject.builder),
        expected_(&subject.built) {}
  u32 operator()(u32 i) const { return feed_(*builder_, record(i)); }
  bool isRight(u64 turns, u64 total) const {
    return total == expected_->totalAfter(turns) &&
           expected_->lastIs(turns, builder_->GetBufferPointer());
  }

 private:
  u32 (*feed_)(flatbuffers::FlatBufferBuilder&, const u8*);
  flatbuffers::FlatBufferBuilder* builder_;
  const Outputs* expected_;
};

/// The floor: the C library copies the record, then the encoding. No size is a constant, or g++
/// would copy in line, and slower.
class Floor : public Contestant {
 public:
  Floor(const Subject& subject, const Outputs& encodings)
      : Contestant(subject),
        size_(subject.records.size),
        scratch_(subject.scratch),
        out_(subject.out),
        encodings_(&encodings) {}
  u32 operator()(u32 i) const {
    const u32 length = encodings_->length(turn(i));
    std::memcpy(scratch_, record(i), size_);
    std::memcpy(out_, encodings_->bytes(turn(i)), length);
    return length;
  }
  bool isRight(u64 turns, u64 total) const {
    return total == encodings_->totalAfter(turns) && encodings_->lastIs(turns, out_);
  }

 private:
  std::size_t size_;
  u8* scratch_;
  u8* out_;
  const Outputs* encodings_;
};

/// Calls run(name, contestant) for everybody who can encode the subject.
template <class Run>
void forEachContestant(Subject& subject, Run run) {
  run("compact", Compact(subject));
  run("size", SizeQuery(subject));
  run("builder", BuilderFeed(subject));
  run("floor", Floor(subject, subject.compact));
  if (subject.message->fullWritten == 0) return;
  run("full", Full(subject));
  run("fullfloor", Floor(subject, subject.full));
}

}  // namespace bench

#endif
