#include "methods/words.h"

#include <algorithm>
#include <charconv>

namespace methods {
namespace {

/// Reads 37 or 0x25.
bool readNumber(std::string_view text, u64& value) {
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value, isHex ? 16 : 10);
  return error == std::errc{} && rest == end;
}

std::string setNumber(const Field& field, std::string_view text, Request& request) {
  u64 value = 0;
  return readNumber(text, value) ? request.setNumber(field, value)
                                 : notInRange(text, largestOf(field.width));
}

std::string setList(const Field& field, std::string_view text, Request& request) {
  std::vector<u64> values;
  for (;;) {
    const std::string_view one = text.substr(0, text.find(','));
    if (!readNumber(one, values.emplace_back())) {
      return brackets(values.size() - 1) + ": " + notInRange(one, largestOf(field.width));
    }
    if (one.size() == text.size()) return request.setNumbers(field, values);
    text.remove_prefix(one.size() + 1);
  }
}

std::string setField(const Field& field, std::string_view text, Request& request) {
  if (field.kind == Kind::scalar) return setNumber(field, text, request);
  if (field.table != nullptr) return "it has fields of its own";
  const bool isHex = Request::takesHex(field) && text.find(',') == std::string_view::npos;
  return isHex ? request.setHex(field, text) : setList(field, text, request);
}

}  // namespace

std::string setWord(const Method& method, std::string_view word, Request& request) {
  const std::string_view path = word.substr(0, word.find('='));
  if (path.size() == word.size()) return std::string(word) + ": not FIELD=VALUE";
  Field field{};
  std::string fault = findField(*method.request, path, field);
  if (!fault.empty()) return fault;
  fault = setField(field, word.substr(path.size() + 1), request);
  return fault.empty() ? "" : std::string(path) + placed(fault);
}

}  // namespace methods
