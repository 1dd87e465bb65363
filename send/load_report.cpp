#include "send/load_report.h"

#include <algorithm>

#include "send/figures.h"
#include "send/page.h"

namespace send {
namespace {

using nlohmann::ordered_json;

struct Percentile {
  const char* name;
  double percent;
};

constexpr Percentile percentiles[] = {{"p50", 50}, {"p90", 90}, {"p99", 99}, {"p99.9", 99.9}};
constexpr std::size_t barWidth = 40;

double seconds(u64 time) {
  return static_cast<double>(time) / static_cast<double>(second);
}

double microseconds(u64 time) {
  return static_cast<double>(time) / 1000;
}

std::string right(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

/// A line: what it states, a number, words.
std::string row(std::string name, const std::string& number, const std::string& words = "") {
  name.resize(std::max<std::size_t>(name.size(), 16), ' ');
  return name + right(number, 12) + (words.empty() ? "" : "  " + words) + '\n';
}

std::string callsText(const LoadResult& result) {
  char length[32];
  std::snprintf(length, sizeof length, "%.3f", seconds(result.length));
  std::string text = row("calls", grouped(result.calls), std::string("in ") + length + " s");
  text += row("calls a second", grouped(result.rate()),
              result.wantedRate > 0 ? "of " + grouped(result.wantedRate) : "");
  if (result.wantedRate > 0)
    text += row("latest start", milliseconds(result.latestStart), "ms late");
  if (result.isInterrupted) text += row("ended early", "", "by a signal");
  if (result.notStarted > 0) text += row("not started", grouped(result.notStarted));
  if (result.neverEnded > 0) text += row("never ended", grouped(result.neverEnded));
  return text;
}

std::string statusesText(const LoadResult& result) {
  std::string text;
  for (const LoadResult::Status& status : result.statuses) {
    text += row("status " + std::to_string(status.status), grouped(status.calls), status.meaning);
  }
  if (result.otherStatuses > 0) text += row("other statuses", grouped(result.otherStatuses));
  return text;
}

std::string latenciesText(const Distribution& latencies) {
  if (latencies.count() == 0) return "";
  std::string text = "\nlatency from the intended start, ms\n";
  for (const auto& [name, percent] : percentiles) {
    text += row(name, milliseconds(latencies.percentile(percent)));
  }
  return text + row("max", milliseconds(latencies.most()));
}

constexpr u64 firstBound = 10'000;  // 10 microseconds

/// Upper bounds of the histogram's rows, six in each power of ten.
u64 nextBound(u64 bound) {
  u64 power = firstBound;
  while (power * 10 <= bound) power *= 10;
  for (const u64 tenths : {15u, 20u, 30u, 50u, 70u}) {
    if (power / 10 * tenths > bound) return power / 10 * tenths;
  }
  return power * 10;
}

/// The buckets in few rows; a bucket across a bound belongs to the lower row.
std::vector<Bucket> rowsOf(const Distribution& latencies) {
  std::vector<Bucket> rows;
  Bucket current{0, firstBound, 0};
  for (const Bucket& bucket : latencies.buckets()) {
    while (bucket.from >= current.to) {
      if (current.count > 0) rows.push_back(current);
      current = {current.to, nextBound(current.to), 0};
    }
    current.count += bucket.count;
  }
  if (current.count > 0) rows.push_back(current);
  return rows;
}

std::string histogramText(const Distribution& latencies) {
  const std::vector<Bucket> rows = rowsOf(latencies);
  u64 most = 0;
  for (const Bucket& bucket : rows) most = std::max(most, bucket.count);
  std::string text = rows.empty() ? "" : "\nhistogram, ms\n";
  for (const auto& [from, to, count] : rows) {
    const double share = static_cast<double>(count) / static_cast<double>(most);
    const auto width = static_cast<std::size_t>(share * barWidth);
    text += right(milliseconds(from), 10) + " - " + right(milliseconds(to), 10) +
            right(grouped(count), 14) + "  " + std::string(std::max<std::size_t>(width, 1), '#') +
            '\n';
  }
  return text;
}

ordered_json latenciesJson(const Distribution& latencies) {
  ordered_json object = {{"calls", latencies.count()}};
  for (const auto& [name, percent] : percentiles) {
    object[name] = microseconds(latencies.percentile(percent));
  }
  object["max"] = microseconds(latencies.most());
  return object;
}

ordered_json histogramJson(const Distribution& latencies) {
  ordered_json list = ordered_json::array();
  for (const auto& [from, to, count] : latencies.buckets()) {
    list.push_back({{"from", microseconds(from)}, {"to", microseconds(to)}, {"calls", count}});
  }
  return list;
}

ordered_json statusesJson(const LoadResult& result) {
  ordered_json list = ordered_json::array();
  for (const auto& [status, meaning, calls] : result.statuses) {
    list.push_back({{"status", status}, {"meaning", meaning}, {"calls", calls}});
  }
  return list;
}

ordered_json samplesJson(const std::vector<Sample>& samples) {
  ordered_json list = ordered_json::array();
  for (const Sample& sample : samples) {
    list.push_back({{"from_seconds", seconds(sample.from)},
                    {"to_seconds", seconds(sample.to)},
                    {"started", sample.started},
                    {"ended", sample.ended},
                    {"failed", sample.failed},
                    {"under_way", sample.underWay},
                    {"p50", microseconds(sample.p50)},
                    {"p99", microseconds(sample.p99)},
                    {"max", microseconds(sample.most)}});
  }
  return list;
}

}  // namespace

double LoadResult::rate() const {
  return length == 0 ? 0 : static_cast<double>(ended()) / seconds(length);
}

bool LoadResult::isSuccess() const {
  const bool allZero =
      std::ranges::all_of(statuses, [](const Status& status) { return status.status == 0; });
  return calls > 0 && allZero && otherStatuses == 0 && notStarted == 0 && neverEnded == 0;
}

LoadResult resultOf(const Load& load, const LoadPlan& plan,
                    const std::function<std::string(u32)>& meaning) {
  LoadResult result;
  const u64 due = load.schedule().due();
  result.wantedRate = plan.rate;
  result.calls = load.started();
  result.notStarted = due > result.calls ? due - result.calls : 0;
  result.neverEnded = result.calls - load.ended().calls();
  result.latestStart = load.latestStart();
  result.length = std::max(load.sentAt(), load.endedAt()) - load.schedule().start();
  for (const auto& [status, count] : load.ended().read()) {
    result.statuses.push_back({status, meaning(status), count});
  }
  result.otherStatuses = load.ended().others();
  result.latencies = load.latencies().read();
  return result;
}

std::string toText(const ordered_json& report) {
  return report.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string loadText(const LoadResult& result) {
  return callsText(result) + statusesText(result) + latenciesText(result.latencies) +
         histogramText(result.latencies);
}

ordered_json loadJson(const LoadResult& result) {
  return {{"calls", result.calls},
          {"wanted_rate", result.wantedRate > 0 ? ordered_json(result.wantedRate) : nullptr},
          {"rate", result.rate()},
          {"seconds", seconds(result.length)},
          {"latest_start", microseconds(result.latestStart)},
          {"interrupted", result.isInterrupted},
          {"not_started", result.notStarted},
          {"never_ended", result.neverEnded},
          {"statuses", statusesJson(result)},
          {"other_statuses", result.otherStatuses},
          {"latency", latenciesJson(result.latencies)},
          {"histogram", histogramJson(result.latencies)},
          {"over_time", samplesJson(result.samples)}};
}

std::string loadPage(const LoadResult& result) {
  constexpr std::string_view place = "/* report */";
  std::string report;
  for (const char c : toText(loadJson(result))) {  // no text in it ends the script
    report += c == '<' ? "\\u003c" : std::string(1, c);
  }
  std::string page = pageTemplate;
  return page.replace(page.find(place), place.size(), report);
}

}  // namespace send
