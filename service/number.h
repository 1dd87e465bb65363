#ifndef SERVICE_NUMBER_H
#define SERVICE_NUMBER_H

#include <charconv>
#include <string>

namespace service {

/// Reads a text that is a decimal number and nothing else.
template <class Number>
bool readNumber(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && rest == end && !text.empty();
}

}  // namespace service

#endif
