#include "send/figures.h"

#include <cmath>
#include <cstdio>

namespace send {

std::string grouped(u64 number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, 1, ',');
  return text;
}

std::string grouped(double number) {
  const auto tenths = static_cast<u64>(std::llround(number * 10));
  return grouped(tenths / 10) + '.' + std::to_string(tenths % 10);
}

std::string milliseconds(u64 nanoseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", static_cast<double>(nanoseconds) / 1e6);
  return text;
}

}  // namespace send
