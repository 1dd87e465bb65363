#include "send/sending.h"

#include <cstdlib>

#include "send/calls.h"
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
      : calls_(callsOf(library)), library_(library), options_(options) {}

  bool send(const std::vector<Entry>& entries) {
    std::size_t made = 0;
    for (const Entry& entry : entries) {
      calls_.make(entry);
      ++made;
      if (!print(calls_.take()) || (hasFailed() && !options_.keepGoing)) break;
    }
    awaitAll();
    const std::size_t missing = calls_.open();
    if (missing > 0) {
      shared::report("%zu call%s not answered", missing, missing == 1 ? " was" : "s were");
    }
    if (!options_.file.empty()) {
      shared::report("%zu of %zu requests sent%s%s", made, entries.size(),
                     counts_.empty() ? "" : ": ", sumOf(counts_).c_str());
    }
    return output_.close() && !hasFailed() && missing == 0 && made == entries.size();
  }

 private:
  bool hasFailed() const { return counts_.size() > counts_.count(0); }

  bool print(const std::deque<Answer>& answers) {
    for (const Answer& answer : answers) {
      output_.write(lineOf(answer));
      ++counts_[answer.status];
    }
    return output_.flush();
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
  shared::Output output_{""};
  Counts counts_;
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

bool sendAll(const Library& library, const Options& options, const std::vector<Entry>& entries) {
  return Sending(library, options).send(entries);
}

}  // namespace send
