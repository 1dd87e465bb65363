#include "reader/filter.h"

#include <algorithm>
#include <charconv>
#include <ctime>

namespace reader {
namespace {

constexpr std::uint64_t day = 86'400 * second;

struct Operator {
  std::string_view text;
  bool less, equal, greater;
};

constexpr Operator operators[] = {{"==", false, true, false}, {"!=", true, false, true},
                                  {"<=", true, true, false},  {">=", false, true, true},
                                  {"<", true, false, false},  {">", false, false, true}};

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

bool readNumber(std::string_view text, std::uint32_t& number) {
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  const auto [end, error] = std::from_chars(text.begin(), text.end(), number, isHex ? 16 : 10);
  return error == std::errc{} && end == text.end();
}

/// Takes ".DIGITS" from the end, at most nine of them.
bool takeFraction(std::string& text, std::uint64_t& nanoseconds) {
  const std::size_t point = text.find('.');
  nanoseconds = 0;
  if (point == std::string::npos) return true;
  std::string digits = text.substr(point + 1);
  text.resize(point);
  if (digits.empty() || digits.size() > 9) return false;
  digits.resize(9, '0');
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), nanoseconds);
  return error == std::errc{} && end == digits.data() + digits.size();
}

bool readStatus(const std::string& text, Choice& choice) {
  choice.withoutEnd = text == "none";
  if (choice.withoutEnd) return true;
  std::uint32_t status = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, status);
  if (error != std::errc{} || end != last) return false;
  choice.status = status;
  return true;
}

}  // namespace

std::optional<Time> readTime(std::string text) {
  struct Form {
    const char* text;
    bool hasDay, hasSeconds;
  };
  static constexpr Form forms[] = {{"%Y-%m-%dT%H:%M:%S", true, true},
                                   {"%Y-%m-%d %H:%M:%S", true, true},
                                   {"%Y-%m-%dT%H:%M", true, false},
                                   {"%Y-%m-%d %H:%M", true, false},
                                   {"%Y-%m-%d", true, false},
                                   {"%H:%M:%S", false, true},
                                   {"%H:%M", false, false}};
  if (text.ends_with('Z')) text.pop_back();
  const bool hasFraction = text.find('.') != std::string::npos;
  std::uint64_t fraction = 0;
  if (!takeFraction(text, fraction)) return std::nullopt;
  for (const Form& form : forms) {
    std::tm parts = {};
    parts.tm_year = 70;
    parts.tm_mday = 1;
    const char* const end = ::strptime(text.c_str(), form.text, &parts);
    if (end == nullptr || *end != '\0' || (hasFraction && !form.hasSeconds)) continue;
    const int wanted = parts.tm_mday;
    const std::time_t seconds = ::timegm(&parts);
    if (seconds < 0 || parts.tm_mday != wanted) return std::nullopt;
    return Time{static_cast<std::uint64_t>(seconds) * second + fraction, form.hasDay};
  }
  return std::nullopt;
}

std::optional<Condition> readCondition(const std::string& text) {
  const std::size_t at = text.find_first_of("=!<>");
  if (at == std::string::npos) return std::nullopt;
  const std::string_view rest = std::string_view(text).substr(at);
  for (const Operator& op : operators) {
    if (!rest.starts_with(op.text)) continue;
    Condition condition = {text,       std::string(trimmed(std::string_view(text).substr(0, at))),
                           op.less,    op.equal,
                           op.greater, 0};
    const bool isFine = readNumber(trimmed(rest.substr(op.text.size())), condition.number);
    return isFine && !condition.field.empty() ? std::optional(condition) : std::nullopt;
  }
  return std::nullopt;
}

std::string readChoice(std::string_view option, const std::string& value, Choice& choice) {
  if (option == "status") {
    if (readStatus(value, choice)) return "";
    return "--status " + value + ": neither a status nor none";
  }
  if (option == "where") {
    const auto condition = readCondition(value);
    if (!condition) return "--where '" + value + "': not FIELD, ==, !=, <, <=, > or >=, NUMBER";
    choice.where.push_back(*condition);
    return "";
  }
  std::optional<Time>& time = option == "since" ? choice.since : choice.until;
  time = readTime(value);
  if (time) return "";
  return "--" + std::string(option) + ' ' + value +
         ": no time such as 2026-11-26T05:29:43.5, 2026-11-26 or 05:29";
}

bool Choice::isMade() const {
  return status || withoutEnd || failed || since || until || !where.empty();
}

bool Filter::takes(const Call& call) {
  const bool isOfMethod = method_.empty() || call.method == method_;
  return isInTime(call) && isOfMethod && doFieldsHold(call) && hasStatus(call);
}

bool Filter::isInTime(const Call& call) {
  if (!hasDay_) day_ = call.time / day * day;
  hasDay_ = true;
  const auto of = [this](const Time& time) { return time.nanoseconds + (time.hasDay ? 0 : day_); };
  return (!choice_.since || call.time >= of(*choice_.since)) &&
         (!choice_.until || call.time < of(*choice_.until));
}

bool Filter::hasStatus(const Call& call) const {
  if (choice_.withoutEnd && call.end) return false;
  if (choice_.failed && (!call.end || call.end->status == 0)) return false;
  return !choice_.status || (call.end && call.end->status == *choice_.status);
}

bool Filter::doFieldsHold(const Call& call) {
  if (choice_.where.empty()) return true;
  const Numbers& numbers = numbersOf(call.method);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto value = numbers[i] ? numbers[i]->in(call.message) : std::nullopt;
    if (!value || !choice_.where[i].holds(*value)) return false;
  }
  return !numbers.empty();
}

const Filter::Numbers& Filter::numbersOf(const std::string& method) {
  static const Numbers none;
  const methods::Method* const known = methods::find(method);
  if (known == nullptr) return none;
  const auto [place, isNew] = numbers_.try_emplace(known);
  if (isNew) {
    for (const Condition& condition : choice_.where) {
      Number number;
      const bool isFound = Number::find(*known->request, condition.field, number).empty();
      place->second.push_back(isFound ? std::optional(number) : std::nullopt);
    }
  }
  return place->second;
}

std::string Filter::fault(const Names& names) const {
  std::vector<const methods::Method*> chosen;
  for (const std::string& name : names) {
    const bool isOfMethod = method_.empty() || name == method_;
    const methods::Method* const known = isOfMethod ? methods::find(name) : nullptr;
    if (known != nullptr) chosen.push_back(known);
  }
  for (const Condition& condition : choice_.where) {
    Number number;
    const auto whyNot = [&](const methods::Method* method) {
      return Number::find(*method->request, condition.field, number);
    };
    const bool isKnown = std::any_of(chosen.begin(), chosen.end(),
                                     [&](const auto* method) { return whyNot(method).empty(); });
    if (isKnown || chosen.empty()) continue;
    return std::string("--where '")
        .append(condition.text)
        .append("': no method of the recording has that number; ")
        .append(chosen.front()->name)
        .append(": ")
        .append(whyNot(chosen.front()));
  }
  return "";
}

}  // namespace reader
