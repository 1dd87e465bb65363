#ifndef READER_NUMBER_H
#define READER_NUMBER_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "methods/methods.h"
#include "reader/bytes.h"

namespace reader {

/// A number in a method's requests, found without a walk of the message.
class Number {
 public:
  /// Finds the number of a path such as f3, head.f0, f1[2] or f11[3].f0[1] in a method's request.
  /// @return what is wrong, with the place in the path, or nothing
  static std::string find(const methods::Table& request, std::string_view path, Number& number);

  /// Its value in a message, which may be damaged: nothing where the message does not have it. An
  /// absent scalar is 0.
  std::optional<std::uint32_t> in(Bytes message) const;

  /// Bytes of it: 1, 2 or 4.
  std::size_t width() const { return steps_.back().width; }

 private:
  struct Step {
    std::size_t entry;  // of the field, in the vtable
    std::size_t width;  // of the number, in bytes; 0 for a table
    std::optional<std::uint32_t> index;
  };

  std::vector<Step> steps_;
};

}  // namespace reader

#endif
