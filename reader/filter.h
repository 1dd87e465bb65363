#ifndef READER_FILTER_H
#define READER_FILTER_H

// Chooses calls of a recording.

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reader/number.h"
#include "reader/recorded_calls.h"

namespace reader {

/// In nanoseconds.
inline constexpr std::uint64_t second = 1'000'000'000;

/// A time as the command line has it.
struct Time {
  std::uint64_t nanoseconds;  ///< since 1970 or, without a day, since its beginning
  bool hasDay;
};

/// Reads a time in UTC such as 2026-11-26T05:29:43.5, 2026-11-26 or 05:29.
std::optional<Time> readTime(std::string text);

/// A comparison of a field with a number.
struct Condition {
  std::string text;           ///< as the user wrote it
  std::string field;          ///< its path
  bool less, equal, greater;  ///< than the number: whether it holds then
  std::uint32_t number;

  bool holds(std::uint32_t value) const {
    return value < number ? less : value == number ? equal : greater;
  }
};

/// Reads a condition such as 'f3 == 37' or 'head.f0 < 0x10'.
std::optional<Condition> readCondition(const std::string& text);

/// What the command line says of calls, but for the method; all must hold.
struct Choice {
  std::optional<std::uint32_t> status;
  bool withoutEnd = false;
  bool failed = false;
  std::optional<Time> since;
  std::optional<Time> until;
  std::vector<Condition> where;

  /// Whether it may leave out a call.
  bool isMade() const;
};

/// Adds to a choice what one of the options states: status, since, until or where.
/// @return what is wrong with the option and its value, or nothing
std::string readChoice(std::string_view option, const std::string& value, Choice& choice);

/// Applies a choice to the calls of a recording.
class Filter {
 public:
  /// @param method of the calls; empty: of any
  Filter(const std::string& method, const Choice& choice) : method_(method), choice_(choice) {}
  /// Whether the choice holds. To be asked for each call, in the recording's order.
  bool takes(const Call& call);
  /// Why a condition can never hold: none of the methods has its field. Or nothing.
  std::string fault(const Names& names) const;

 private:
  using Numbers = std::vector<std::optional<Number>>;  // of each condition
  bool isInTime(const Call& call);
  bool hasStatus(const Call& call) const;
  bool doFieldsHold(const Call& call);
  const Numbers& numbersOf(const std::string& method);

  const std::string& method_;
  const Choice& choice_;
  std::map<const methods::Method*, Numbers> numbers_;
  std::uint64_t day_ = 0;  // that of the first call
  bool hasDay_ = false;
};

}  // namespace reader

#endif
