#ifndef METHODS_REQUEST_H
#define METHODS_REQUEST_H

// A request record that is filled at run time.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "methods/fields.h"

namespace methods {

/// A record with the bytes that its pointers point to. It can be moved, the record's pointers stay
/// valid then.
class Request {
 public:
  Request() = default;
  /// A record whose fields are all zero, and whose buffers are absent.
  explicit Request(const Table& table) : words_((table.recordSize + 7) / 8) {}

  /// The record, as the method's exports take it.
  const void* data() const { return words_.data(); }
  /// Whether it is no record yet.
  bool isEmpty() const { return words_.empty(); }

  // Each sets a field of the record and returns what is wrong with the value, or nothing.

  /// A scalar.
  std::string setNumber(const Field& field, u64 value);
  /// A vector of u8 or a buffer, from "00:11:22" or "001122". What an array has beyond them is
  /// zero.
  std::string setHex(const Field& field, std::string_view text);
  /// A vector or a buffer, from its elements. What an array has beyond them is zero.
  std::string setNumbers(const Field& field, const std::vector<u64>& values);
  /// A vector of u8 or a buffer. What an array has beyond the bytes is zero.
  std::string setBytes(const Field& field, const std::vector<u8>& bytes);

  /// Whether hexadecimal text can set the field.
  static bool takesHex(const Field& field);

 private:
  u8* at(const Field& field) { return reinterpret_cast<u8*>(words_.data()) + field.offset; }
  std::string setBuffer(const Field& field, const std::vector<u8>& bytes);

  std::vector<u64> words_;
  std::vector<std::unique_ptr<u8[]>> buffers_;
};

/// "700 elements: the array has 6"
std::string tooLong(std::size_t count, const Field& field);

}  // namespace methods

#endif
