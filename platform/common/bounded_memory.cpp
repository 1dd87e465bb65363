#include "tarn/bounded_memory.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

// A size with the top bit set is a converted negative number.
constexpr std::size_t rsizeMax = SIZE_MAX >> 1;

bool isUsable(const void* dest, std::size_t max) {
  return dest != nullptr && max <= rsizeMax;
}

bool overlap(const void* dest, const void* src, std::size_t count) {
  const auto d = reinterpret_cast<std::uintptr_t>(dest);
  const auto s = reinterpret_cast<std::uintptr_t>(src);
  return d < s ? s - d < count : d - s < count;
}

int copyViolation(std::size_t max, const void* dest, const void* src, std::size_t count) {
  if (src == nullptr) return EINVAL;
  if (count > max) return ERANGE;
  return overlap(dest, src, count) ? EINVAL : 0;
}

}  // namespace

int memset_s(void* dest, size_t max, int value, size_t count) {
  if (!isUsable(dest, max)) return EINVAL;
  const bool fits = count <= max;
  std::memset(dest, value, fits ? count : max);
  return fits ? 0 : ERANGE;
}

int memcpy_s(void* dest, size_t max, const void* src, size_t count) {
  if (!isUsable(dest, max)) return EINVAL;
  const int violation = copyViolation(max, dest, src, count);
  if (violation != 0) {
    std::memset(dest, 0, max);
  } else {
    std::memcpy(dest, src, count);
  }
  return violation;
}
