#ifndef TESTS_GRPC_COUNTS_H
#define TESTS_GRPC_COUNTS_H

// The counts of channels that a test expects, and the series that show them.

#include <cmath>
#include <map>
#include <numeric>
#include <sstream>

#include "grpc/service.h"

using Member = u64 TarnGrpcStats::*;

inline constexpr Member counters[] = {&TarnGrpcStats::calls, &TarnGrpcStats::bytes,
                                      &TarnGrpcStats::busy, &TarnGrpcStats::underWay};
inline const std::pair<Member, std::string> ends[] = {
    {&TarnGrpcStats::succeeded, "succeeded"}, {&TarnGrpcStats::answered, "answered"},
    {&TarnGrpcStats::late, "late"},           {&TarnGrpcStats::unavailable, "unavailable"},
    {&TarnGrpcStats::notSent, "not_sent"},    {&TarnGrpcStats::garbage, "garbage"},
    {&TarnGrpcStats::failed, "failed"}};

/// How many calls ended with a status, or were refused with one.
using Seen = std::map<u32, u64>;

inline Member memberFor(u32 status) {
  if (status >= TARN_GRPC_NOT_SENT) return &TarnGrpcStats::notSent;
  const std::map<u32, Member> members = {
      {0, &TarnGrpcStats::succeeded},         {5, &TarnGrpcStats::answered},
      {TARN_GRPC_BUSY, &TarnGrpcStats::busy}, {TARN_GRPC_GARBAGE, &TarnGrpcStats::garbage},
      {late, &TarnGrpcStats::late},           {unavailable, &TarnGrpcStats::unavailable}};
  const auto found = members.find(status);
  return found == members.end() ? &TarnGrpcStats::failed : found->second;
}

/// The counts after such calls, but for their times.
inline TarnGrpcStats countsAfter(const Seen& seen, u32 bytesOfOne) {
  TarnGrpcStats counts{};
  for (const auto& [status, number] : seen) counts.*memberFor(status) += number;
  for (const auto& [end, name] : ends) counts.calls += counts.*end;
  counts.bytes = counts.calls * bytesOfOne;
  return counts;
}

inline void expectCounts(const TarnGrpcStats& counts, const TarnGrpcStats& expected) {
  for (const Member member : counters) {
    EXPECT_EQ(counts.*member, expected.*member) << &member - counters;
  }
  u64 ended = 0;
  for (const auto& [end, name] : ends) {
    EXPECT_EQ(counts.*end, expected.*end) << name;
    ended += counts.*end;
  }
  EXPECT_EQ(std::accumulate(counts.latency, std::end(counts.latency), u64{0}), ended);
}

inline TarnGrpcStats countsAt(void* opt) {
  TarnGrpcStats counts{};
  counts.size = sizeof counts;
  EXPECT_EQ(TarnGrpc_stats(opt, &counts), 0u);
  return counts;
}

inline TarnGrpcStats sumOf(TarnGrpcStats sum, const TarnGrpcStats& more) {
  for (const Member member : counters) sum.*member += more.*member;
  for (const auto& [end, name] : ends) sum.*end += more.*end;
  for (u32 i = 0; i < TARN_GRPC_LATENCIES; ++i) sum.latency[i] += more.latency[i];
  sum.nanoseconds += more.nanoseconds;
  return sum;
}

using Series = std::map<std::string, std::string>;

/// The series in Prometheus' text format. Fails when one is there twice or before its metric is
/// introduced, or the text breaks off.
inline Series seriesIn(const std::string& text) {
  Series series;
  std::istringstream lines(text);
  std::string helped, typed;
  EXPECT_TRUE(text.ends_with('\n'));
  for (std::string line; std::getline(lines, line);) {
    std::string mark, kind, name;
    const std::size_t end = line.rfind("} ");
    if (line.starts_with("# ")) {
      std::istringstream(line) >> mark >> kind >> name;
      EXPECT_TRUE(kind == "HELP" || (kind == "TYPE" && helped == name)) << line;
      (kind == "HELP" ? helped : typed) = name;
    } else if (end != line.npos) {
      EXPECT_TRUE(line.starts_with(typed)) << line;
      EXPECT_TRUE(series.emplace(line.substr(0, end + 1), line.substr(end + 2)).second) << line;
    } else {
      ADD_FAILURE() << line;
    }
  }
  return series;
}

/// The series of a target; its label is given as it stands in the file.
inline Series seriesOf(const std::string& target, const TarnGrpcStats& counts) {
  const std::string label = "{target=\"" + target + '"',
                    durations = "tarn_grpc_call_duration_seconds";
  Series series = {{"tarn_grpc_calls_total" + label + '}', std::to_string(counts.calls)},
                   {"tarn_grpc_message_bytes_total" + label + '}', std::to_string(counts.bytes)},
                   {"tarn_grpc_busy_total" + label + '}', std::to_string(counts.busy)},
                   {"tarn_grpc_under_way" + label + '}', std::to_string(counts.underWay)}};
  for (const auto& [end, name] : ends) {
    series["tarn_grpc_ended_total" + label + ",outcome=\"" + name + "\"}"] =
        std::to_string(counts.*end);
  }
  u64 sum = 0;
  for (u32 i = 0; i < TARN_GRPC_LATENCIES; ++i) {
    char bound[32];
    std::snprintf(bound, sizeof bound, "%.6f", std::ldexp(1e-6, static_cast<int>(i)));
    const std::string shown = i + 1 < TARN_GRPC_LATENCIES ? bound : "+Inf";
    sum += counts.latency[i];
    series[durations + "_bucket" + label + ",le=\"" + shown + "\"}"] = std::to_string(sum);
  }
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.9f", static_cast<double>(counts.nanoseconds) / 1e9);
  series[durations + "_sum" + label + '}'] = seconds;
  series[durations + "_count" + label + '}'] = std::to_string(sum);
  return series;
}

#endif
