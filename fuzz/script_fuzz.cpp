// Reads any bytes as a script, and as a message in which its rules look for numbers: a fault names
// a line of the text, and nothing outside the message is read.

#include <algorithm>
#include <string_view>

#include "fuzz.h"
#include "script/rules.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  script::Rules rules;
  const std::string fault = script::readRules(text, rules);
  require(!fault.empty() || !rules.all.empty(), "no rules in a good script");
  const std::size_t lines = 1 + static_cast<std::size_t>(std::ranges::count(text, '\n'));
  const std::size_t line = fault.empty() ? 1 : std::strtoul(fault.c_str() + 5, nullptr, 10);
  require(line >= 1 && line <= lines, "a fault in no line");
  const auto isInText = [=](const script::Rule& rule) {
    return rule.line >= 1 && rule.line <= lines;
  };
  require(std::ranges::all_of(rules.all, isInText), "a rule in no line");
  for (const auto& [path, numbers] : rules.numbers) {
    for (const auto& [request, number] : numbers) (void)number.in({data, size});
  }
  return 0;
}
