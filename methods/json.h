#ifndef METHODS_JSON_H
#define METHODS_JSON_H

// From JSON to a request record, value by value: memory goes with the record, not with the JSON.

#include <string>
#include <string_view>
#include <vector>

#include "methods/json_text.h"
#include "methods/request.h"

namespace methods {

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

}  // namespace methods

#endif
