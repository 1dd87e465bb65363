#ifndef READER_BYTES_H
#define READER_BYTES_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace reader {

using Bytes = std::span<const std::uint8_t>;

/// An unsigned number of width bytes, at most 4, as messages have it.
constexpr std::uint32_t number(const std::uint8_t* bytes, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = width; i > 0; --i) value = value << 8 | bytes[i - 1];
  return value;
}

}  // namespace reader

#endif
