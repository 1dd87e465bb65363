#ifndef METHODS_JSON_H
#define METHODS_JSON_H

// From JSON to a request record, value by value: memory goes with the record, not with the JSON.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "methods/request.h"

namespace methods {

/// A value of JSON that is neither an object nor an array.
struct Leaf {
  const char* type;           ///< "number", "string", "boolean" or "null"
  std::optional<u64> number;  ///< a whole one that is not negative
  std::string text;           ///< a string, or another number as it is written
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
/// @return what is wrong, with its place: "head.f9: no such field; the nearest is f0"; or nothing
std::string readJson(std::string_view text, JsonListener& listener);

/// Fills a record from an object: numbers, arrays, nested objects, bytes also in hexadecimal.
/// Fields that it does not name, and what an array has beyond its elements, are zero.
class RequestListener : public JsonListener {
 public:
  /// @param request made new; it outlives this object
  RequestListener(const Method& method, Request& request);
  std::string onLeaf(const Leaf& leaf) override;
  std::string onStart(bool isObject) override;
  std::string onName(const std::string& name) override;
  std::string onEnd() override;

 private:
  /// What is open: a record, or an array with so many elements up to now.
  struct Open {
    Field field;
    u32 count = 0;
    std::vector<u8> bytes;  // of a buffer
  };

  std::string takeNext(Field& field);
  std::string addByte(const Leaf& leaf);

  Request& request_;
  Field next_;  // where the next value goes that is no element
  std::vector<Open> open_;
};

/// Fills a record from a text that is one JSON object.
std::string readRequest(const Method& method, std::string_view text, Request& request);

/// "string, where a number is expected"
std::string unfit(const char* found, const char* expected);

}  // namespace methods

#endif
