#include <algorithm>
#include <iterator>

#include "methods/fields.h"
#include "methods/json_text.h"
#include "script/rules.h"
#include "shared/grpc_codes.h"

namespace script {
namespace {

using methods::Leaf;

constexpr std::uint64_t longestMilliseconds = 3'600'000;
constexpr std::uint64_t largestCount = 0xFFFFFFFF;

/// What has to be known of a rule before it is read.
struct Outline {
  std::optional<std::string> method;
  std::size_t answers = 0;
};

/// Reads the outlines of rules, however their keys are ordered.
class OutlineListener : public methods::JsonListener {
 public:
  std::vector<Outline> rules;

  std::string onLeaf(const Leaf& leaf) override {
    const bool isMethod = isInRules() && depth_ == 3 && key_ == "method";
    if (isMethod) rules.back().method = leaf.text;
    return "";
  }
  std::string onStart(bool) override {
    if (isInRules() && depth_ == 2) rules.emplace_back();
    if (isInRules() && depth_ == 4 && key_ == "answers") ++rules.back().answers;
    ++depth_;
    return "";
  }
  std::string onName(const std::string& name) override {
    if (depth_ == 1) top_ = name;
    if (depth_ == 3) key_ = name;
    return "";
  }
  std::string onEnd() override {
    --depth_;
    return "";
  }

 private:
  bool isInRules() const { return top_ == "rules"; }

  std::size_t depth_ = 0;
  std::string top_;  // the key in the file's object
  std::string key_;  // in a rule
};

/// Takes the whole number of a leaf, at most the largest.
std::string takeNumber(const Leaf& leaf, std::uint64_t largest, std::uint64_t& number) {
  if (leaf.number && *leaf.number <= largest) {
    number = *leaf.number;
    return "";
  }
  return methods::notInRange(leaf.number ? std::to_string(*leaf.number) : leaf.text, largest);
}

std::string takeMilliseconds(const Leaf& leaf, std::chrono::milliseconds& time) {
  std::uint64_t count = 0;
  std::string fault = takeNumber(leaf, longestMilliseconds, count);
  time = std::chrono::milliseconds(count);
  return fault;
}

std::string takeTrue(const Leaf& leaf) {
  return leaf.text == "true" ? "" : "it can only be true";
}

std::string takeCode(const std::string& name, std::uint32_t& code) {
  const std::vector<std::string_view> names(std::begin(shared::grpcCodes) + 1,
                                            std::end(shared::grpcCodes));
  const auto found = std::ranges::find(names, name);
  if (found == names.end())
    return methods::shown(name) + ": " + methods::noSuch("code", name, names);
  code = static_cast<std::uint32_t>(found - names.begin()) + 1;
  return "";
}

/// Adds the number of a path in a method's requests.
/// @return what is wrong with the path, or nothing
std::string add(const methods::Method& method, const std::string& path, Numbers& numbers) {
  if (numbers.contains(method.request)) return "";
  reader::Number number;
  std::string fault = reader::Number::find(*method.request, path, number);
  if (fault.empty()) numbers.emplace(method.request, number);
  const std::string place = methods::shown(path) + ": ";
  return fault.starts_with(place) ? fault.substr(place.size()) : fault;  // its place is known
}

/// Reads rules whose outlines are known.
class RuleListener : public methods::JsonListener {
 public:
  RuleListener(const std::vector<Outline>& outlines, const std::size_t& line, Rules& rules)
      : outlines_(outlines), line_(line), rules_(rules) {}

  std::string onLeaf(const Leaf& leaf) override;
  std::string onStart(bool isObject) override;
  std::string onName(const std::string& name) override;
  std::string onEnd() override;

 private:
  /// The objects and arrays of a file.
  enum class Part { none, file, rules, rule, match, answers, answer, expect };

  /// A key of a part.
  struct Key {
    Part in;
    Part part;  ///< that its value may be
    std::string_view name;
    const char* expected;
    std::string_view type;  ///< of its value, unless that is a part
    std::string (*take)(RuleListener&, const Leaf&);
  };
  static const Key keys[];

  static bool isArray(Part part) { return part == Part::rules || part == Part::answers; }
  static std::string ignore(RuleListener&, const Leaf&) { return ""; }

  Rule& rule() { return rules_.all.back(); }
  Turn& turn() { return rule().answers.back(); }
  const Outline& outline() const { return outlines_[rules_.all.size() - 1]; }
  Expectation& expectation() { return rule().expect ? *rule().expect : rule().expect.emplace(); }
  /// Whether its method, which may stand behind what it matches, is unknown.
  bool isOfNoMethod() { return rule().method == nullptr && outline().method; }
  bool isLastAnswer() { return rule().answers.size() == outline().answers; }

  Part nextPart() const;
  std::string open(Part part);
  std::string close(Part part);
  std::string findNumbers(const std::string& path);
  std::uint64_t largestIn(const Numbers& numbers);
  std::string takeCondition(const Leaf& leaf);
  std::string takeMethod(const std::string& name);
  std::string takeKind(Answer::Kind kind);
  std::string takeStatus(const Leaf& leaf);
  std::string takeTime(const Leaf& leaf);
  std::string closeAnswer();

  const std::vector<Outline>& outlines_;
  const std::size_t& line_;
  Rules& rules_;
  std::vector<Part> open_;
  const Key* key_ = nullptr;  // of the next value
  std::string path_;          // the same in a match
  bool hasKind_ = false;      // of the answer that is open
  bool hasDelay_ = false;
};

using Listener = RuleListener;

constinit const RuleListener::Key RuleListener::keys[] = {
    {Part::file, Part::none, "$schema", "a string", "string", ignore},
    {Part::file, Part::rules, "rules", "an array", "", nullptr},
    {Part::rule, Part::none, "comment", "a string", "string", ignore},
    {Part::rule, Part::none, "method", "a string", "string",
     [](Listener& l, const Leaf& leaf) { return l.takeMethod(leaf.text); }},
    {Part::rule, Part::match, "match", "an object", "", nullptr},
    {Part::rule, Part::answers, "answers", "an array", "", nullptr},
    {Part::rule, Part::expect, "expect", "a number or an object", "number",
     [](Listener& l, const Leaf& leaf) {
       Expectation& expect = l.expectation();
       std::string fault = takeNumber(leaf, largestCount, expect.least);
       expect.most = expect.least;
       return fault;
     }},
    {Part::answer, Part::none, "status", "a number", "number",
     [](Listener& l, const Leaf& leaf) { return l.takeStatus(leaf); }},
    {Part::answer, Part::none, "grpc", "a string", "string",
     [](Listener& l, const Leaf& leaf) {
       std::string fault = takeCode(leaf.text, l.turn().answer.number);
       return fault.empty() ? l.takeKind(Answer::Kind::error) : fault;
     }},
    {Part::answer, Part::none, "drop", "true", "boolean",
     [](Listener& l, const Leaf& leaf) {
       std::string fault = takeTrue(leaf);
       return fault.empty() ? l.takeKind(Answer::Kind::drop) : fault;
     }},
    {Part::answer, Part::none, "garbage", "true", "boolean",
     [](Listener& l, const Leaf& leaf) {
       std::string fault = takeTrue(leaf);
       return fault.empty() ? l.takeKind(Answer::Kind::garbage) : fault;
     }},
    {Part::answer, Part::none, "delay_ms", "a number", "number",
     [](Listener& l, const Leaf& leaf) {
       l.hasDelay_ = true;
       return takeMilliseconds(leaf, l.turn().answer.delay);
     }},
    {Part::answer, Part::none, "for_ms", "a number", "number",
     [](Listener& l, const Leaf& leaf) { return l.takeTime(leaf); }},
    {Part::expect, Part::none, "at_least", "a number", "number",
     [](Listener& l, const Leaf& leaf) {
       return takeNumber(leaf, largestCount, l.expectation().least);
     }},
    {Part::expect, Part::none, "at_most", "a number", "number",
     [](Listener& l, const Leaf& leaf) {
       return takeNumber(leaf, largestCount, l.expectation().most);
     }},
};

std::string RuleListener::onLeaf(const Leaf& leaf) {
  const Part part = open_.empty() ? Part::none : open_.back();
  if (part == Part::match) return takeCondition(leaf);
  if (part == Part::none || isArray(part)) return methods::unfit(leaf.type, "an object");
  return leaf.type == key_->type ? key_->take(*this, leaf)
                                 : methods::unfit(leaf.type, key_->expected);
}

std::string RuleListener::onStart(bool isObject) {
  const Part next = nextPart();
  if (next != Part::none && isArray(next) != isObject) return open(next);
  const bool isKey = !open_.empty() && !isArray(open_.back()) && open_.back() != Part::match;
  const char* const expected = isKey                ? key_->expected
                               : next == Part::none ? "a number"
                                                    : "an object";
  return methods::unfit(methods::typeOf(isObject), expected);
}

std::string RuleListener::onName(const std::string& name) {
  if (open_.back() == Part::match) return findNumbers(name);
  std::vector<std::string_view> names;
  for (const Key& key : keys) {
    if (key.in != open_.back()) continue;
    key_ = &key;
    if (key.name == name) return "";
    names.push_back(key.name);
  }
  return methods::noSuch("key", name, names);
}

std::string RuleListener::onEnd() {
  const Part part = open_.back();
  open_.pop_back();
  return close(part);
}

/// What begins when an object or an array does.
RuleListener::Part RuleListener::nextPart() const {
  if (open_.empty()) return Part::file;
  if (open_.back() == Part::rules) return Part::rule;
  if (open_.back() == Part::answers) return Part::answer;
  return open_.back() == Part::match ? Part::none : key_->part;
}

std::string RuleListener::open(Part part) {
  open_.push_back(part);
  if (part == Part::rule) {
    rules_.all.push_back({line_, nullptr, {}, {}, {}});
    const auto& name = outline().method;
    if (name) rule().method = methods::find(*name);
  }
  if (part == Part::answer) {
    rule().answers.emplace_back();
    hasKind_ = hasDelay_ = false;
  }
  return "";
}

std::string RuleListener::close(Part part) {
  if (part == Part::file && rules_.all.empty()) return "rules: they are missing";
  if (part == Part::rules && rules_.all.empty()) return "it is empty";
  if (part == Part::answers && rule().answers.empty()) return "it is empty";
  if (part == Part::answer) return closeAnswer();
  if (part != Part::expect) return "";
  if (!rule().expect) return "neither at_least nor at_most";
  return rule().expect->least > rule().expect->most ? "at_least is more than at_most" : "";
}

/// Finds the numbers of a path in the requests that the rule may fit.
std::string RuleListener::findNumbers(const std::string& path) {
  path_ = path;
  Numbers& numbers = rules_.numbers[path];
  if (isOfNoMethod()) return "";  // which is reported at its name
  if (rule().method != nullptr) return add(*rule().method, path, numbers);
  for (const methods::Method& method : methods::all) add(method, path, numbers);
  return numbers.empty() ? "no method has that number" : "";
}

std::string RuleListener::takeCondition(const Leaf& leaf) {
  if (std::string_view(leaf.type) != "number") return methods::unfit(leaf.type, "a number");
  if (isOfNoMethod()) return "";
  const Numbers& numbers = rules_.numbers[path_];
  const std::uint64_t largest = largestIn(numbers);
  std::uint64_t value = 0;
  std::string fault = takeNumber(leaf, largest, value);
  rule().match.push_back({&numbers, static_cast<std::uint32_t>(value)});
  return fault;
}

/// The largest value that a number may have in the requests that the rule may fit.
std::uint64_t RuleListener::largestIn(const Numbers& numbers) {
  std::size_t width = 0;
  for (const auto& [request, number] : numbers) {
    const bool mayFit = rule().method == nullptr || rule().method->request == request;
    if (mayFit) width = std::max(width, number.width());
  }
  return methods::largestOf(static_cast<std::uint32_t>(width));
}

std::string RuleListener::takeMethod(const std::string& name) {
  if (rule().method != nullptr) return "";
  return methods::shown(name) + ": " + methods::noSuchMethod(name);
}

std::string RuleListener::takeKind(Answer::Kind kind) {
  if (hasKind_) return "another key has said how to answer";
  hasKind_ = true;
  turn().answer.kind = kind;
  return "";
}

std::string RuleListener::takeStatus(const Leaf& leaf) {
  std::uint64_t status = 0;
  std::string fault = takeNumber(leaf, methods::largestOf(4), status);
  if (fault.empty()) fault = takeKind(Answer::Kind::status);
  turn().answer.number = static_cast<std::uint32_t>(status);
  return fault;
}

std::string RuleListener::takeTime(const Leaf& leaf) {
  if (isLastAnswer()) return "the last answer stays for all requests that follow";
  return takeMilliseconds(leaf, turn().holds.emplace());
}

std::string RuleListener::closeAnswer() {
  if (!hasKind_ && !hasDelay_) return "neither status, grpc, drop, garbage nor delay_ms";
  const bool isDrop = turn().answer.kind == Answer::Kind::drop;
  return isDrop && hasDelay_ ? "what is dropped has no delay_ms" : "";
}

}  // namespace

std::string readRules(std::string_view text, Rules& rules) {
  std::size_t line = 0;
  OutlineListener outline;
  std::string fault = methods::readJson(text, outline, &line);
  if (fault.empty()) {
    RuleListener listener(outline.rules, line, rules);
    fault = methods::readJson(text, listener, &line);
  }
  return fault.empty() ? "" : "line " + std::to_string(line) + ": " + fault;
}

}  // namespace script
