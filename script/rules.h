#ifndef SCRIPT_RULES_H
#define SCRIPT_RULES_H

// The rules of a script as they are kept.

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "methods/methods.h"
#include "reader/number.h"
#include "script/script.h"

namespace script {

/// The number of one path in each kind of request that has it.
using Numbers = std::map<const methods::Table*, reader::Number>;

struct Condition {
  const Numbers* numbers;
  std::uint32_t value;
};

/// An answer while it has its turn.
struct Turn {
  Answer answer;
  /// Nothing: for one request.
  std::optional<std::chrono::milliseconds> holds;
};

struct Expectation {
  static constexpr std::uint64_t any = std::numeric_limits<std::uint64_t>::max();

  std::uint64_t least = 0;
  std::uint64_t most = any;
};

struct Rule {
  std::size_t line;                         // of its beginning
  const methods::Method* method = nullptr;  // nullptr: every one
  std::vector<Condition> match;
  std::vector<Turn> answers;
  std::optional<Expectation> expect;
};

/// What a rule has done.
struct Progress {
  std::uint64_t count = 0;
  std::size_t turn = 0;  // of the rule's answers
  /// When that answer was first used, if it holds for a time.
  std::optional<std::chrono::steady_clock::time_point> since;
};

struct Rules {
  std::map<std::string, Numbers> numbers;  // of each path
  std::vector<Rule> all;
};

/// Reads rules from the text of a file.
/// @return what is wrong, "line 4: rules[0].match.f99: ...", or nothing
std::string readRules(std::string_view text, Rules& rules);

}  // namespace script

#endif
