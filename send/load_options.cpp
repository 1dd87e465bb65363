#include "send/load_options.h"

#include <charconv>
#include <utility>

#include "shared/report.h"

namespace send {
namespace {

using shared::report;

constexpr double highestRate = 10'000'000;
constexpr double longestDuration = 168 * 3600;  // seconds
constexpr u64 mostCalls = 1'000'000'000'000;
constexpr u32 mostInFlight = 1'000'000;

/// Reads a number's start. Returns what follows it, nullptr where there is no number.
template <class Number>
const char* readStart(const std::string& text, Number& number) {
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} ? rest : nullptr;
}

template <class Number>
bool read(const std::string& text, Number least, Number most, Number& number) {
  const char* const rest = readStart(text, number);
  return rest == text.data() + text.size() && number >= least && number <= most;
}

bool readDuration(const std::string& text, u64& duration) {
  constexpr std::pair<std::string_view, double> units[] = {
      {"ms", 0.001}, {"s", 1}, {"m", 60}, {"h", 3600}};
  double number = 0;
  const char* const rest = readStart(text, number);
  if (rest == nullptr) return false;
  for (const auto& [unit, length] : units) {
    const double seconds = number * length;
    if (unit != rest || !(seconds >= 0.001) || seconds > longestDuration) continue;
    duration = static_cast<u64>(seconds * static_cast<double>(second));
    return true;
  }
  return false;
}

/// Whether a value that is not stated or has been read is right.
bool check(bool isRead, const char* option, const std::string& value, const char* words) {
  if (value.empty() || isRead) return true;
  report("%s %s: not %s", option, value.c_str(), words);
  return false;
}

}  // namespace

bool readLoad(const LoadTexts& texts, LoadOptions& options) {
  return check(read(texts.rate, 0.001, highestRate, options.rate), "--rate", texts.rate,
               "calls a second, from 0.001 to 10000000") &&
         check(readDuration(texts.duration, options.duration), "--duration", texts.duration,
               "a time from 1ms to 168h, such as 30s, 500ms or 2m") &&
         check(read(texts.count, u64{1}, mostCalls, options.count), "--count", texts.count,
               "calls from 1 to 1000000000000") &&
         check(read(texts.inFlight, u32{1}, mostInFlight, options.inFlight), "--in-flight",
               texts.inFlight, "calls from 1 to 1000000");
}

bool LoadOptions::isStated() const {
  return rate > 0 || duration > 0 || count > 0 || inFlight > 0 || isJson || !page.empty();
}

LoadPlan LoadOptions::plan() const {
  LoadPlan plan;
  plan.rate = rate;
  if (duration > 0) plan.duration = duration;
  if (count > 0) plan.count = count;
  if (duration == 0 && count == 0) plan.duration = 10 * second;
  const u32 usual = rate > 0 ? 100'000 : 100;
  plan.inFlight = inFlight > 0 ? inFlight : usual;
  return plan;
}

}  // namespace send
