#ifndef READER_NUMBER_H
#define READER_NUMBER_H

#include <optional>

#include "reader/schema.h"

namespace reader {

/// A number in a method's requests, found without a walk of the message.
class Number {
 public:
  /// The number of a path such as f3, head.f0, f1[2] or f11[3].f0[1]; nothing where the method's
  /// request has none of that name.
  static std::optional<Number> find(const Schema::Method& method, std::string_view path);

  /// Its value in a message, which may be damaged: nothing where the message does not have it. An
  /// absent scalar is 0.
  std::optional<std::uint32_t> in(Bytes message) const;

 private:
  struct Step {
    std::size_t entry;  // of the field, in the vtable
    std::size_t width;  // of the number, in bytes; 0 for a table
    std::optional<std::uint32_t> index;
  };
  static std::optional<Step> stepTo(const flatbuffers::StructDef*& in, std::string_view word);

  std::vector<Step> steps_;
};

}  // namespace reader

#endif
