#include "service/journal.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <system_error>

#include "reader/walk.h"
#include "service/mqc_service.h"
#include "shared/printable.h"
#include "shared/report.h"

namespace service {
namespace {

using reader::Bytes;

static_assert(mqc::maxMessageBytes == reader::maxMessageBytes);

// Its line of JSON is five times as long, and nobody reads that.
constexpr std::size_t longestShown = 65536;

/// The status that callers have of an error, less its code.
constexpr std::uint32_t refused = 1000;

const char compact[] = "compact";
const char full[] = "full";
const char damaged[] = "damaged";
const char notKept[] = "not kept";
const char missing[] = "missing";
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

/// A sequence number as it is printed; anything else that a peer sent is not.
std::string shownNumber(const std::string& sequence) {
  const bool isNumber =
      sequence.size() <= 20 && sequence.find_first_not_of("0123456789") == std::string::npos;
  return isNumber ? sequence : "?";
}

std::string lineFor(const std::string& method, std::size_t bytes, const char* kind,
                    const std::string& sequence) {
  std::string name = method;
  name.resize(std::max<std::size_t>(name.size(), 25), ' ');
  std::string size = std::to_string(bytes);
  size.insert(0, 8 - std::min<std::size_t>(8, size.size()), ' ');
  std::string line = timeOfDay() + ' ' + name + size + ' ' + kind;
  if (!sequence.empty()) line.append(" #").append(shownNumber(sequence));
  return line;
}

std::string shown(const reader::Schema& schema, const reader::Schema::Method& method,
                  reader::Bytes message) {
  return message.size() <= longestShown ? schema.json(method, message) : "(too long to be shown)";
}

}  // namespace

bool Journal::open() {
  const Options& set = options_;
  if (!set.capture.empty() && capture_.setDir(set.capture.c_str()) != TARN_STATUS_OK) return false;
  return set.record.empty() ||
         shared::startRecording(recording_, set.record.c_str(), set.recordMegabytes);
}

grpc::Status Journal::take(const reader::Schema::Method& method, shared::CallVariant variant,
                           const std::string& sequence, Bytes message, std::uint32_t& status) {
  if (options_.record.empty()) return answer(method, sequence, message, status);
  const auto size = static_cast<std::uint32_t>(message.size());
  const std::uint64_t recorded = recording_.request(variant, method.name, message, size);
  grpc::Status taken = answer(method, sequence, message, status);
  recording_.end(recorded, method.name,
                 taken.ok() ? status : refused + static_cast<std::uint32_t>(taken.error_code()));
  return taken;
}

grpc::Status Journal::answer(const reader::Schema::Method& method, const std::string& sequence,
                             Bytes message, std::uint32_t& status) {
  const std::string& name = method.name;
  const std::size_t size = message.size();
  std::vector<reader::Item> items;
  if (const auto fault = reader::walk(method, message, items)) {
    const std::lock_guard lock(mutex_);
    count(damaged, size);
    lines_.add(lineFor(name, size, damaged, sequence) + ' ' + reader::at(fault->position) + ": " +
               fault->words);
    return mqc::damaged();
  }
  const bool isFull = reader::isFull(message);
  std::string line = lineFor(name, size, isFull ? full : compact, sequence);
  if (options_.json) line.append(1, ' ').append(shown(schema_, method, message));
  const auto own = options_.statusOf.find(name);
  status = own != options_.statusOf.end() ? own->second : options_.status;
  const std::lock_guard lock(mutex_);
  const bool kept = keep(name, isFull, message);
  count(!kept ? notKept : isFull ? full : compact, size);
  lines_.add(kept ? line : line + ' ' + notKept);
  if (!kept) return grpc::Status(grpc::StatusCode::INTERNAL, "the request could not be kept");
  ++methods_[name];
  return grpc::Status::OK;
}

grpc::Status Journal::takeNothing(const reader::Schema::Method& method) {
  const std::lock_guard lock(mutex_);
  count(missing, 0);
  lines_.add(timeOfDay() + ' ' + method.name + ": no complete message arrived");
  return grpc::Status(grpc::StatusCode::INVALID_ARGUMENT, "no message");
}

grpc::Status Journal::takeTooMany(const std::string& method) {
  const std::lock_guard lock(mutex_);
  count(missing, 0);
  lines_.add(timeOfDay() + ' ' + method + ": too many calls are open");
  return grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, "too many calls are open");
}

grpc::Status Journal::takeUnknown(const std::string& path) {
  const std::lock_guard lock(mutex_);
  count(unknown, 0);
  lines_.add(timeOfDay() + ' ' + shared::printable(path) + ": no such method");
  return grpc::Status(grpc::StatusCode::UNIMPLEMENTED, "no such method");
}

void Journal::takeFault(std::uint64_t sequence, const grpc::Status& fault) {
  const std::lock_guard lock(mutex_);
  count(damaged, 0);
  lines_.add(timeOfDay() + " stream #" + std::to_string(sequence) + ": " + fault.error_message());
}

void Journal::count(const char* kind, std::size_t bytes) {
  Count& count = counts_[kind];
  ++count.messages;
  count.bytes += bytes;
}

/// Reports the beginning of a row of failures, a change of their reason, and their end.
bool Journal::keep(const std::string& method, bool isFull, Bytes message) {
  const Bytes none;
  const int error =
      capture_.tryWrite(method.c_str(), isFull ? none : message, isFull ? message : none);
  const char* const dir = options_.capture.c_str();
  if (error != 0) ++notKept_;
  if (error != captureError_ && error != 0) {
    shared::report("capture directory %s: %s; requests are refused", dir,
                   std::generic_category().message(error).c_str());
  } else if (error != captureError_) {
    shared::report("capture directory %s: written again; %ju requests were refused", dir,
                   std::uintmax_t{notKept_});
    notKept_ = 0;
  }
  captureError_ = error;
  return error == 0;
}

std::string Journal::totals() {
  const std::lock_guard lock(mutex_);
  char row[96];
  std::snprintf(row, sizeof row, "\n%-8s %9s %12s", "", "messages", "bytes");
  std::string text = row;
  for (const char* const kind : {compact, full, damaged, notKept, missing}) {
    std::snprintf(row, sizeof row, "\n%-8s %9ju %12ju", kind,
                  std::uintmax_t{counts_[kind].messages}, std::uintmax_t{counts_[kind].bytes});
    text += row;
  }
  std::snprintf(row, sizeof row, "\n%zu of %zu methods called, %ju calls of unknown methods",
                methods_.size(), schema_.methods().size(),
                std::uintmax_t{counts_[unknown].messages});
  text += row;
  for (const auto& [name, messages] : methods_) {
    std::snprintf(row, sizeof row, "\n  %-25s %ju", name.c_str(), std::uintmax_t{messages});
    text += row;
  }
  return text;
}

}  // namespace service
