#include "methods/request.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace methods {
namespace {

/// A scalar in the host's byte order.
void store(u8* at, u32 width, u64 value) {
  const auto put = [at](auto word) { std::memcpy(at, &word, sizeof word); };
  if (width == 1)
    put(static_cast<u8>(value));
  else if (width == 2)
    put(static_cast<std::uint16_t>(value));
  else
    put(static_cast<u32>(value));
}

int digitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Reads "00:11:22" or "001122".
bool readHex(std::string_view text, std::vector<u8>& bytes) {
  const std::size_t step = text.size() > 2 && text[2] == ':' ? 3 : 2;
  bytes.reserve(text.size() / step + 1);
  for (std::size_t i = 0; i < text.size(); i += step) {
    if (i + 2 > text.size()) return false;
    const int high = digitOf(text[i]);
    const int low = digitOf(text[i + 1]);
    if (high < 0 || low < 0) return false;
    const bool isLast = i + 2 == text.size();
    if (step == 3 && !isLast && (text[i + 2] != ':' || i + 3 == text.size())) return false;
    bytes.push_back(static_cast<u8>(high << 4 | low));
  }
  return true;
}

}  // namespace

std::string Request::setNumber(const Field& field, u64 value) {
  if (value > largestOf(field.width))
    return notInRange(std::to_string(value), largestOf(field.width));
  store(at(field), field.width, value);
  return "";
}

bool Request::takesHex(const Field& field) {
  return field.kind == Kind::buffer || (field.kind == Kind::vector && field.width == 1);
}

std::string Request::setHex(const Field& field, std::string_view text) {
  std::vector<u8> bytes;
  if (!readHex(text, bytes)) return "no hexadecimal bytes such as 00:11:22 or 001122";
  return setBytes(field, bytes);
}

std::string Request::setNumbers(const Field& field, const std::vector<u64>& values) {
  const auto large =
      std::ranges::find_if(values, [&](u64 value) { return value > largestOf(field.width); });
  if (large != values.end()) {
    return brackets(static_cast<std::size_t>(large - values.begin())) + ": " +
           notInRange(std::to_string(*large), largestOf(field.width));
  }
  if (takesHex(field)) {
    std::vector<u8> bytes(values.size());
    std::ranges::transform(values, bytes.begin(), [](u64 value) { return static_cast<u8>(value); });
    return setBytes(field, bytes);
  }
  if (values.size() > field.count) return tooLong(values.size(), field);
  std::memset(at(field), 0, field.size);
  for (u32 i = 0; i < values.size(); ++i) {
    store(at(elementOf(field, i)), field.width, values[i]);
  }
  return "";
}

std::string Request::setBytes(const Field& field, const std::vector<u8>& bytes) {
  if (field.kind == Kind::buffer) return setBuffer(field, bytes);
  if (bytes.size() > field.count) return tooLong(bytes.size(), field);
  std::memset(at(field), 0, field.size);
  std::ranges::copy(bytes, at(field));
  return "";
}

std::string Request::setBuffer(const Field& field, const std::vector<u8>& bytes) {
  if (bytes.size() > UINT32_MAX) return std::to_string(bytes.size()) + " bytes: too many";
  // An empty buffer is no absent one: its pointer is set.
  u8* const copy = buffers_.emplace_back(std::make_unique<u8[]>(bytes.size() + 1)).get();
  std::ranges::copy(bytes, copy);
  store(at(field), sizeof(u32), bytes.size());
  std::memcpy(at(field) + field.size - sizeof copy, &copy, sizeof copy);
  return "";
}

std::string tooLong(std::size_t count, const Field& field) {
  return std::to_string(count) + " elements: the array has " + std::to_string(field.count);
}

}  // namespace methods
