#ifndef METHODS_JSON_TEXT_H
#define METHODS_JSON_TEXT_H

// Reads JSON, value by value.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "methods/methods.h"

namespace methods {

/// A value of JSON that is neither an object nor an array.
struct Leaf {
  const char* type;           ///< "number", "string", "boolean" or "null"
  std::optional<u64> number;  ///< a whole one that is not negative
  std::string text;           ///< a string; a boolean, or another number, as it is written
};

/// Hears a text's values in their order. Each function returns what is wrong, without its place, or
/// nothing.
class JsonListener {
 public:
  virtual ~JsonListener() = default;
  virtual std::string onLeaf(const Leaf& leaf) = 0;
  /// An object or an array begins.
  virtual std::string onStart(bool isObject) = 0;
  /// The name of the next value in an object.
  virtual std::string onName(const std::string& name) = 0;
  /// What began last ends.
  virtual std::string onEnd() = 0;
};

/// Reads a text that is one JSON value. A name that stands twice in an object is refused, and
/// nesting deeper than any request's.
/// @param line if not nullptr, holds the line of the last character read whenever the listener is
///   called, and that of the fault in the end; the fault itself names no line then
/// @return what is wrong, with its place: "head.f9: no such field; the nearest is f0"; or nothing
std::string readJson(std::string_view text, JsonListener& listener, std::size_t* line = nullptr);

/// "string, where a number is expected"
std::string unfit(const char* found, const char* expected);
/// "object" or "array"
const char* typeOf(bool isObject);

}  // namespace methods

#endif
