#ifndef BENCH_SUBJECTS_H
#define BENCH_SUBJECTS_H

// The contestants' work: records of one message, and every encoder's output for them.

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "bench/messages.h"

namespace bench {

/// How many records of random presence a message has, and how many turns are measured at a time:
/// every measurement goes through all of its records, as often as any other.
inline constexpr u32 manyRecords = 4096;

/// What a piece of memory is used for, and where in its page it starts: far enough from the others
/// that no load waits for an unrelated store 4096 bytes away, whatever the heap does.
enum class Use : u32 { record = 0, scratch = 704, encoding = 1408, output = 2816 };

/// Bytes that grow at their end.
class Memory {
 public:
  explicit Memory(Use use, std::size_t size = 0)
      : start_(static_cast<u32>(use)), bytes_(start_ + size) {}
  u8* begin() { return bytes_.data() + start_; }
  const u8* begin() const { return bytes_.data() + start_; }
  std::size_t size() const { return bytes_.size() - start_; }
  void append(const u8* from, std::size_t size) { bytes_.insert(bytes_.end(), from, from + size); }

 private:
  template <class T>
  struct FromPageStart {
    using value_type = T;
    static constexpr std::align_val_t page{4096};
    T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), page)); }
    void deallocate(T* at, std::size_t) { ::operator delete(at, page); }
    bool operator==(const FromPageStart&) const = default;
  };
  u32 start_;
  std::vector<u8, FromPageStart<u8>> bytes_;
};

/// Encodings of the records, one behind the other.
class Encodings {
 public:
  void add(const u8* bytes, u32 length) {
    memory_.append(bytes, length);
    ends_.push_back(static_cast<u32>(memory_.size()));
  }
  u32 length(u32 i) const { return ends_[i + 1] - ends_[i]; }
  const u8* bytes(u32 i) const { return memory_.begin() + ends_[i]; }
  /// Bytes of the first so many.
  u32 total(u32 count) const { return ends_[count]; }
  /// 0, then where each ends.
  const u32* ends() const { return ends_.data(); }

 private:
  Memory memory_{Use::encoding};
  std::vector<u32> ends_{0};
};

/// Whether the builder's output, read by the FlatBuffers library, has the record's values.
bool holds(const methods::Table& table, const u8* encoding, const u8* record);

/// A run over the first so many records of a subject, again and again. A power of two.
struct Pattern {
  std::string name;
  u32 count;
};

struct Subject {
  Subject(const Message& of, std::vector<Pattern> runs) : message(&of), patterns(std::move(runs)) {
    message->setIdl(&desc);
  }

  const Message* message;
  IdlMsgDesc desc;
  std::vector<Pattern> patterns;
  Memory records{Use::record};                 ///< one behind the other
  std::vector<std::unique_ptr<u8[]>> buffers;  ///< that they point at
  Encodings compact, full, built;
  u32 capacity = 0;  ///< bytes of the longest compact encoding
  Memory out{Use::output};
  Memory fullOut{Use::output};  ///< apart: what the full encoder leaves unwritten stays 0
  Memory scratch{Use::scratch};
  PackBuf cursor;
  flatbuffers::FlatBufferBuilder builder;
};

using Subjects = std::vector<std::unique_ptr<Subject>>;

/// Every message with a record of zeros, one without any and so many of random presence; the batch
/// message also with growing buffers. Ends the process with a message when an encoding does not
/// have its record's values.
Subjects makeSubjects(const std::vector<Message>& messages, u32 randomRecords);

}  // namespace bench

#endif
