#include <algorithm>
#include <cstdio>
#include <map>

#include "inspect/calls.h"
#include "shared/histogram.h"
#include "shared/printable.h"

namespace inspect {
namespace {

constexpr double percents[] = {50, 90, 99};

/// Counts of the calls of one method, or of all.
class Counts {
 public:
  void add(const Call& call) {
    ++calls_;
    bytes_ += call.size;
    if (!call.end) {
      ++withoutEnd_;
      return;
    }
    if (call.end->status != 0) ++failed_;
    const auto passed = static_cast<std::int64_t>(call.end->time - call.time);
    durations_.add(static_cast<std::uint64_t>(std::max<std::int64_t>(passed, 0)));
  }

  std::string row(const std::string& name) const {
    const shared::Distribution durations = durations_.read();
    std::string text = name;
    text.resize(std::max<std::size_t>(name.size(), 30), ' ');
    for (const std::uint64_t number : {calls_, failed_, withoutEnd_}) text += cell(number);
    text += cell(bytes_ / std::max<std::uint64_t>(calls_, 1));
    for (const double percent : percents) text += time(durations.percentile(percent));
    return text + time(durations.most()) + '\n';
  }

 private:
  static std::string cell(std::uint64_t number) {
    char text[32];
    std::snprintf(text, sizeof text, "%10llu", static_cast<unsigned long long>(number));
    return text;
  }
  std::string time(std::uint64_t nanoseconds) const {
    char text[32];
    std::snprintf(text, sizeof text, "%11.1f", static_cast<double>(nanoseconds) / 1000);
    return calls_ > withoutEnd_ ? text : std::string(10, ' ') + '-';
  }

  std::uint64_t calls_ = 0;
  std::uint64_t failed_ = 0;
  std::uint64_t withoutEnd_ = 0;
  std::uint64_t bytes_ = 0;
  shared::Histogram durations_;
};

std::string heading() {
  char text[128];
  std::snprintf(text, sizeof text, "%-30s%10s%10s%10s%10s%11s%11s%11s%11s\n", "method", "calls",
                "failed", "no end", "bytes", "p50 us", "p90 us", "p99 us", "max us");
  return text;
}

std::string statusRows(const std::map<std::uint32_t, std::uint64_t>& statuses) {
  std::string text = statuses.empty() ? "" : "\nstatus          calls\n";
  for (const auto& [status, calls] : statuses) {
    char row[64];
    std::snprintf(row, sizeof row, "%-10u %10llu  ", status,
                  static_cast<unsigned long long>(calls));
    text += row + meaningOf(status) + '\n';
  }
  return text;
}

}  // namespace

void writeStatistics(Calls& calls, shared::Output& output) {
  Counts all;
  std::map<std::string, Counts> methods;  // those that the schema knows, and one for the rest
  std::map<std::uint32_t, std::uint64_t> statuses;
  std::uint64_t first = UINT64_MAX;
  std::uint64_t last = 0;
  for (Call call; calls.next(call);) {
    const bool isKnown = calls.schema().method(call.method) != nullptr;
    methods[isKnown ? call.method : "(unknown methods)"].add(call);
    all.add(call);
    if (call.end) ++statuses[call.end->status];
    first = std::min(first, call.time);
    last = std::max({last, call.time, call.end ? call.end->time : 0});
  }
  if (methods.empty()) {
    output.write("no calls\n");
    return;
  }
  output.write(timeText(first, 6) + " to " + timeText(last, 6) + "\n\n" + heading());
  for (const auto& [name, counts] : methods) output.write(counts.row(name));
  if (methods.size() > 1) output.write(all.row("all"));
  output.write(statusRows(statuses));
  if (calls.endsAlone() > 0) {
    output.write("\nends without a request: " + std::to_string(calls.endsAlone()) + '\n');
  }
}

}  // namespace inspect
