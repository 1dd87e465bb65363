#include "send/sending.h"

#include <cstdlib>

#include "send/calls.h"
#include "send/check.h"
#include "send/pace.h"
#include "shared/output.h"
#include "shared/report.h"

namespace send {
namespace {

using std::chrono::milliseconds;

/// Never destroyed: a callback may run while the process ends.
Calls& callsOf(const Library& library) {
  static auto& calls = *new Calls(library, longestCall());
  return calls;
}

class Sending {
 public:
  Sending(const Library& library, const Options& options)
      : calls_(callsOf(library)),
        library_(library),
        options_(options),
        isChecked_(options.replay.isChecked),
        pace_(options.replay.speed) {}

  bool send(Requests& requests) {
    const std::size_t made = make(requests);
    awaitAll();
    const std::size_t missing = calls_.open();
    if (missing > 0) {
      shared::report("%zu call%s not answered", missing, missing == 1 ? " was" : "s were");
    }
    if (options_.isSeveral()) {
      shared::report("%zu of %zu requests sent%s%s", made, requests.size(),
                     counts_.empty() ? "" : ": ", sumOf(counts_).c_str());
    }
    if (isChecked_) {
      shared::report("%zu difference%s from what is recorded", wrong_, wrong_ == 1 ? "" : "s");
    }
    return output_.close() && wrong_ == 0 && missing == 0 && made == requests.size();
  }

 private:
  /// Returns how many calls were made.
  std::size_t make(Requests& requests) {
    std::size_t made = 0;
    while (const auto entry = requests.next()) {
      if (isChecked_) writeDifference(messageDifference(library_, *entry));
      if (!awaitTurn(*entry)) break;
      calls_.make(entry);
      ++made;
      if (!print(calls_.take())) break;
    }
    return made;
  }

  /// Waits until the call is due. Returns whether it may be made.
  bool awaitTurn(const Entry& entry) {
    if (!entry.recorded) return true;
    const auto due = begin_ + std::chrono::nanoseconds(pace_.next(entry.recorded->time));
    while (Clock::now() < due) {
      if (!print(calls_.takeBy(due))) return false;
    }
    return true;
  }

  /// Returns whether further calls may be made.
  bool print(const std::deque<Answer>& answers) {
    for (const Answer& answer : answers) {
      ++counts_[answer.status];
      if (isChecked_) {
        writeDifference(statusDifference(answer));
      } else {
        output_.write(lineOf(answer));
        wrong_ += answer.status != 0;
      }
    }
    return output_.flush() && (wrong_ == 0 || options_.keepGoing || isChecked_);
  }

  void writeDifference(const std::string& line) {
    output_.write(line);
    wrong_ += !line.empty();
  }

  void awaitAll() {
    std::deque<Answer> answers;
    while (calls_.open() > 0 && !(answers = calls_.await()).empty()) print(answers);
    print(calls_.take());
    // One-way messages leave no answer.
    library_.drain(static_cast<u32>(longestCall().count()));
  }

  Calls& calls_;
  const Library& library_;
  const Options& options_;
  const bool isChecked_;
  Pace pace_;
  const Clock::time_point begin_ = Clock::now();
  shared::Output output_{""};
  Counts counts_;
  std::size_t wrong_ = 0;  // calls that did not return 0, or differences
};

}  // namespace

milliseconds longestCall() {
  constexpr milliseconds usual(10'000);
  constexpr milliseconds longest(3'600'000);
  constexpr milliseconds margin(10'000);
  const char* const text = std::getenv("TARN_GRPC_DEADLINE_MS");
  const milliseconds stated(text == nullptr ? 0 : std::strtol(text, nullptr, 10));
  return (stated > milliseconds(0) && stated <= longest ? stated : usual) + margin;
}

bool sendAll(const Library& library, const Options& options, Requests& requests) {
  return Sending(library, options).send(requests);
}

}  // namespace send
