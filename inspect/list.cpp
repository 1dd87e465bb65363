#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <ctime>

#include "inspect/calls.h"
#include "shared/printable.h"
#include "shared/status_text.h"

namespace inspect {
namespace {

/// A number, or JSON's null for none.
std::string orNull(const std::string& text) {
  return text.empty() ? "null" : text;
}

std::string jsonOf(const Call& call) {
  const auto number = [](const char* name, std::uint64_t value) {
    return std::string("\"") + name + "\": " + std::to_string(value) + ", ";
  };
  return "{" + number("number", call.number) + "\"time\": \"" + timeText(call.time) + "\", " +
         number("process", call.process) + number("thread", call.thread) +
         number("sequence", call.sequence) + "\"method\": " + jsonText(call.method) +
         ", \"variant\": \"" + std::string(call.variant) + "\", " + number("bytes", call.size) +
         "\"status\": " + (call.end ? std::to_string(call.end->status) : "null") +
         ", \"microseconds\": " + orNull(microseconds(call)) + ", \"request\": ";
}

/// The date and time of a second, kept for the next call: most of the work of a line.
const std::string& secondText(std::uint64_t seconds) {
  static std::uint64_t latest = UINT64_MAX;
  static std::string text;
  if (seconds == latest) return text;
  latest = seconds;
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts = {};
  char room[64] = "";
  ::gmtime_r(&time, &parts);
  text.assign(room, std::strftime(room, sizeof room, "%Y-%m-%dT%H:%M:%S", &parts));
  return text;
}

}  // namespace

std::string timeText(std::uint64_t nanoseconds, unsigned digits) {
  char fraction[16];
  std::snprintf(fraction, sizeof fraction, ".%09" PRIu64, nanoseconds % second);
  return secondText(nanoseconds / second) + std::string(fraction, digits + 1) + 'Z';
}

std::string microseconds(const Call& call) {
  if (!call.end) return "";
  // The clock of the day may have been set back meanwhile.
  const auto passed = static_cast<std::int64_t>(call.end->time - call.time);
  char text[32];
  std::snprintf(text, sizeof text, "%" PRId64 ".%03" PRId64,
                std::max<std::int64_t>(passed, 0) / 1000, std::max<std::int64_t>(passed, 0) % 1000);
  return text;
}

std::string meaningOf(std::uint32_t status) {
  if (const char* const known = shared::statusText(status)) return known;
  return shared::grpcStatusText(status);
}

std::string statusText(const Call& call) {
  if (!call.end) return "no end";
  return std::to_string(call.end->status) + ' ' + meaningOf(call.end->status);
}

std::string jsonText(std::string_view text) {
  std::string safe = "\"";
  for (const char c : shared::printable(text)) {
    if (c == '"' || c == '\\') safe += '\\';
    safe += c;
  }
  return safe + '"';
}

void listCalls(Calls& calls, shared::Output& output) {
  int longest = 0;
  for (const Schema::Method* method : calls.schema().methods()) {
    longest = std::max(longest, static_cast<int>(method->name.size()));
  }
  for (Call call; calls.next(call);) {
    const std::string duration = call.end ? microseconds(call) : "-";
    char line[256];
    const int size = std::snprintf(
        line, sizeof line, "%7" PRIu64 "  %s  %-*s  %-6s  %5" PRIu32 "  %10s  ", call.number,
        timeText(call.time, 6).c_str(), longest, shared::printable(call.method).c_str(),
        std::string(call.variant).c_str(), call.size, duration.c_str());
    output.write({line, std::min(static_cast<std::size_t>(size), sizeof line - 1)});
    output.write(statusText(call) + '\n');
  }
}

void writeCallsAsJson(Calls& calls, shared::Output& output) {
  Message message;
  for (Call call; calls.next(call);) {
    output.write(jsonOf(call));
    if (calls.walk(call, message)) {
      calls.schema().json(*message.method, message.bytes,
                          [&output](std::string_view text) { output.write(text); });
    } else {
      output.write("null");
    }
    output.write("}\n");
  }
}

void annotateCalls(Calls& calls, shared::Output& output) {
  Message message;
  for (Call call; calls.next(call);) {
    if (!calls.walk(call, message)) continue;
    output.write(title(message) + '\n');
    annotate(message, [&output](std::string_view text) { output.write(text); });
    output.write("\n");
  }
}

}  // namespace inspect
