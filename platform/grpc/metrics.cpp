#include "platform/grpc/metrics.h"

namespace delivery {
namespace {

struct Metric {
  u64 TarnGrpcStats::*count;
  const char *name, *type, *help;
};

constexpr Metric metrics[] = {
    {&TarnGrpcStats::calls, "calls_total", "counter", "Calls accepted."},
    {&TarnGrpcStats::bytes, "message_bytes_total", "counter", "Bytes of accepted calls' messages."},
    {&TarnGrpcStats::busy, "busy_total", "counter",
     "Calls refused at the limit of calls or bytes in flight."},
    {&TarnGrpcStats::underWay, "under_way", "gauge", "Accepted calls without a result."}};
constexpr Metric ends = {nullptr, "ended_total", "counter", "Calls ended, by outcome."};
constexpr Metric durations = {nullptr, "call_duration_seconds", "histogram",
                              "Time of ended calls from begin to result."};

std::string fullName(const Metric& metric) {
  return std::string("tarn_grpc_") + metric.name;
}

void addHead(std::string& text, const Metric& metric) {
  const std::string name = fullName(metric);
  text += "# HELP " + name + ' ' + metric.help + "\n# TYPE " + name + ' ' + metric.type + '\n';
}

std::string label(const char* name, std::string_view value) {
  std::string quoted = std::string(name) + "=\"";
  for (const char character : value) {
    if (character == '\\' || character == '"') quoted += '\\';
    quoted += character;
  }
  return quoted + '"';
}

void addSample(std::string& text, const std::string& name, const std::string& labels,
               const std::string& value) {
  text += name + '{' + labels + "} " + value + '\n';
}

/// A number of 1/unit seconds, with all its digits; the unit is a power of ten.
std::string seconds(u64 number, u64 unit) {
  std::string digits = std::to_string(unit + number % unit);
  digits[0] = '.';
  return std::to_string(number / unit) + digits;
}

void addOutcomes(std::string& text, const std::string& target, const TarnGrpcStats& counts) {
  for (const Outcome& outcome : outcomes) {
    addSample(text, fullName(ends), target + ',' + label("outcome", outcome.name),
              std::to_string(counts.*outcome.count));
  }
}

void addDurations(std::string& text, const std::string& target, const TarnGrpcStats& counts) {
  const std::string name = fullName(durations);
  u64 sum = 0;
  for (u32 bucket = 0; bucket < TARN_GRPC_LATENCIES; ++bucket) {
    const bool isLast = bucket + 1 == TARN_GRPC_LATENCIES;
    const std::string bound = isLast ? "+Inf" : seconds(u64{1} << bucket, 1'000'000);
    sum += counts.latency[bucket];
    addSample(text, name + "_bucket", target + ',' + label("le", bound), std::to_string(sum));
  }
  addSample(text, name + "_sum", target, seconds(counts.nanoseconds, 1'000'000'000));
  addSample(text, name + "_count", target, std::to_string(sum));
}

/// A metric and what add adds to the text for each target.
template <class Add>
void addMetric(std::string& text, const Metric& metric, const Totals& totals, Add add) {
  addHead(text, metric);
  for (const auto& [target, counts] : totals) add(text, label("target", target), counts);
}

}  // namespace

std::string metricsOf(const Totals& totals) {
  std::string text;
  for (const Metric& metric : metrics) {
    addMetric(text, metric, totals,
              [&](std::string& to, const std::string& target, const TarnGrpcStats& counts) {
                addSample(to, fullName(metric), target, std::to_string(counts.*metric.count));
              });
  }
  addMetric(text, ends, totals, addOutcomes);
  addMetric(text, durations, totals, addDurations);
  return text;
}

}  // namespace delivery
