#include "script/script.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "script/rules.h"

namespace script {
namespace {

using Time = std::chrono::steady_clock::time_point;

constexpr std::size_t longestFile = std::size_t{1} << 20;

std::string readFile(const std::string& path, std::string& text) {
  std::FILE* const file = std::fopen(path.c_str(), "rbe");
  if (file == nullptr) return std::strerror(errno);
  text.resize(longestFile + 1);
  text.resize(std::fread(text.data(), 1, text.size(), file));
  const int error = std::ferror(file) != 0 ? errno : 0;
  std::fclose(file);
  if (error != 0) return std::strerror(error);
  if (text.empty()) return "it is empty";
  return text.size() > longestFile ? "it has more than " + std::to_string(longestFile) + " bytes"
                                   : "";
}

bool fits(const Rule& rule, const methods::Method& method, reader::Bytes message) {
  if (rule.method != nullptr && rule.method != &method) return false;
  return std::ranges::all_of(rule.match, [&](const Condition& condition) {
    const auto number = condition.numbers->find(method.request);
    return number != condition.numbers->end() && number->second.in(message) == condition.value;
  });
}

std::optional<Answer> nextAnswer(const Rule& rule, Progress& progress, Time now) {
  if (rule.answers.empty()) return std::nullopt;
  const bool isOver = progress.since && now - *progress.since >= *rule.answers[progress.turn].holds;
  if (isOver) {
    ++progress.turn;
    progress.since.reset();
  }
  const Turn& turn = rule.answers[progress.turn];
  if (turn.holds && !progress.since) progress.since = now;
  if (!turn.holds && progress.turn + 1 < rule.answers.size()) ++progress.turn;
  return turn.answer;
}

bool isAsExpected(const Rule& rule, const Progress& progress) {
  const Expectation expect = rule.expect.value_or(Expectation{});
  return progress.count >= expect.least && progress.count <= expect.most;
}

std::string shown(const Expectation& expect) {
  std::string least = std::to_string(expect.least);
  if (expect.least == expect.most) return least;
  if (expect.most == Expectation::any) return "at least " + least;
  const std::string most = std::to_string(expect.most);
  return expect.least == 0 ? "at most " + most : least + " to " + most;
}

std::string lineFor(const Rule& rule, const Progress& progress) {
  std::string line = rule.method != nullptr ? rule.method->name : "every method";
  line.append(" (line ").append(std::to_string(rule.line)).append(")");
  line.resize(std::max<std::size_t>(line.size(), 36), ' ');
  line.insert(0, "  ").append(" expected ").append(shown(*rule.expect));
  line.append(", came ").append(std::to_string(progress.count));
  return isAsExpected(rule, progress) ? line : line + ": DIFFERS";
}

}  // namespace

struct Script::State {
  Rules rules;
  mutable std::mutex mutex;
  std::vector<Progress> progress;  // of each rule; under the lock
};

Script::Script() : state_(std::make_unique<State>()) {}
Script::~Script() = default;

std::string Script::read(const std::string& path) {
  std::string text;
  std::string fault = readFile(path, text);
  if (fault.empty()) fault = readRules(text, state_->rules);
  if (!fault.empty()) {
    state_->rules = {};
    return path + ": " + fault;
  }
  state_->progress.resize(state_->rules.all.size());
  return "";
}

std::optional<Answer> Script::take(std::string_view method, reader::Bytes message) {
  return take(method, message, std::chrono::steady_clock::now());
}

std::optional<Answer> Script::take(std::string_view method, reader::Bytes message, Time now) {
  const methods::Method* const known = methods::find(method);
  if (known == nullptr) return std::nullopt;
  const std::vector<Rule>& rules = state_->rules.all;
  const auto rule =
      std::ranges::find_if(rules, [&](const Rule& one) { return fits(one, *known, message); });
  if (rule == rules.end()) return std::nullopt;
  const std::lock_guard lock(state_->mutex);
  Progress& progress = state_->progress[static_cast<std::size_t>(rule - rules.begin())];
  ++progress.count;
  return nextAnswer(*rule, progress, now);
}

void Script::restart() {
  const std::lock_guard lock(state_->mutex);
  std::ranges::fill(state_->progress, Progress{});
}

bool Script::isAsExpected() const {
  const std::lock_guard lock(state_->mutex);
  return std::ranges::equal(state_->rules.all, state_->progress, script::isAsExpected);
}

std::string Script::report() const {
  const std::lock_guard lock(state_->mutex);
  std::string text;
  for (std::size_t i = 0; i < state_->progress.size(); ++i) {
    const Rule& rule = state_->rules.all[i];
    if (!rule.expect) continue;
    if (!text.empty()) text += '\n';
    text += lineFor(rule, state_->progress[i]);
  }
  return text;
}

}  // namespace script
