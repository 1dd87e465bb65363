#include "service/journal.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "inspect/walk.h"
#include "service/mqc_service.h"

namespace service {
namespace {

using inspect::Bytes;

static_assert(mqc::maxMessageBytes == inspect::maxMessageBytes);

// A line of JSON is five times as long, and nobody reads it.
constexpr std::size_t longestShown = 65536;

const char compact[] = "compact";
const char full[] = "full";
const char damaged[] = "damaged";
const char unknown[] = "unknown";

std::string timeOfDay() {
  using std::chrono::system_clock;
  const system_clock::time_point now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  const auto past = now - std::chrono::floor<std::chrono::seconds>(now);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char text[16];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", parts.tm_hour, parts.tm_min, parts.tm_sec,
                static_cast<int>(std::chrono::floor<std::chrono::milliseconds>(past).count()));
  return text;
}

// What a peer sent, fit for a terminal.
std::string printable(std::string text) {
  const auto odd = [](unsigned char c) { return std::isprint(c) == 0; };
  std::replace_if(text.begin(), text.end(), odd, '?');
  return text;
}

std::string lineFor(const std::string& method, std::size_t bytes, const char* kind,
                    const std::string& sequence) {
  std::string name = printable(method);
  name.resize(std::max<std::size_t>(name.size(), 25), ' ');
  std::string size = std::to_string(bytes);
  size.insert(0, 8 - std::min<std::size_t>(8, size.size()), ' ');
  std::string line = timeOfDay() + ' ' + name + size + ' ' + kind;
  if (!sequence.empty()) line.append(" #").append(printable(sequence));
  return line;
}

std::string shown(const inspect::Schema& schema, const inspect::Schema::Method& method,
                  inspect::Bytes message) {
  return message.size() <= longestShown ? schema.json(method, message) : "(too long to be shown)";
}

}  // namespace

bool Journal::open() {
  return options_.capture.empty() || capture_.setDir(options_.capture.c_str()) == TARN_STATUS_OK;
}

grpc::Status Journal::take(const inspect::Schema::Method& method, const std::string& sequence,
                           Bytes message, std::uint32_t& status) {
  const std::string& name = method.name;
  std::vector<inspect::Item> items;
  if (const auto fault = inspect::walk(method, message, items)) {
    record(name, damaged, message,
           lineFor(name, message.size(), damaged, sequence) + ' ' + inspect::at(fault->position) +
               ": " + fault->words);
    return mqc::damaged();
  }
  const char* const kind = inspect::isFull(message) ? full : compact;
  std::string line = lineFor(name, message.size(), kind, sequence);
  if (options_.json) line.append(1, ' ').append(shown(schema_, method, message));
  const auto own = options_.statusOf.find(name);
  status = own != options_.statusOf.end() ? own->second : options_.status;
  return record(name, kind, message, line);
}

grpc::Status Journal::takeUnknown(const std::string& path) {
  record(path, unknown, {}, timeOfDay() + " " + printable(path) + ": no such method");
  return grpc::Status(grpc::StatusCode::UNIMPLEMENTED, "no such method");
}

grpc::Status Journal::record(const std::string& method, const char* kind, Bytes message,
                             const std::string& line) {
  const std::lock_guard lock(mutex_);
  Count& count = counts_[kind];
  ++count.messages;
  count.bytes += message.size();
  std::puts(line.c_str());
  std::fflush(stdout);
  if (kind != compact && kind != full) return grpc::Status::OK;
  ++methods_[method];
  const Bytes none;
  const bool kept = capture_.write(method.c_str(), kind == compact ? message : none,
                                   kind == full ? message : none) == TARN_STATUS_OK;
  if (kept) return grpc::Status::OK;
  return grpc::Status(grpc::StatusCode::INTERNAL, "the request could not be kept");
}

void Journal::printTotals() {
  const std::lock_guard lock(mutex_);
  std::printf("\n%-8s %9s %12s\n", "", "messages", "bytes");
  for (const char* const kind : {compact, full, damaged}) {
    std::printf("%-8s %9ju %12ju\n", kind, std::uintmax_t{counts_[kind].messages},
                std::uintmax_t{counts_[kind].bytes});
  }
  std::printf("%zu of %zu methods called, %ju calls of others\n", methods_.size(),
              schema_.methods().size(), std::uintmax_t{counts_[unknown].messages});
  for (const auto& [name, messages] : methods_) {
    std::printf("  %-25s %ju\n", name.c_str(), std::uintmax_t{messages});
  }
}

}  // namespace service
