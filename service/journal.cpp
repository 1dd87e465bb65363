#include "service/journal.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <system_error>

#include "reader/walk.h"
#include "service/mqc_service.h"
#include "shared/grpc_codes.h"
#include "shared/printable.h"
#include "shared/report.h"
#include "tarn/grpc.h"

namespace service {
namespace {

using reader::Bytes;
using Kind = script::Answer::Kind;

static_assert(mqc::maxMessageBytes == reader::maxMessageBytes);

// Its line of JSON is five times as long, and nobody reads that.
constexpr std::size_t longestShown = 65536;
/// Of a method that there is not, as the page shows it, in bytes.
constexpr std::size_t longestPath = 200;

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

/// What a line says of an answer that is not the usual one.
std::string noteOf(const script::Answer& answer) {
  std::string note = " -> ";
  if (answer.kind == Kind::status) note += std::to_string(answer.number);
  if (answer.kind == Kind::error) note += shared::grpcCodes[answer.number];
  if (answer.kind == Kind::drop) note += "dropped";
  if (answer.kind == Kind::garbage) note += "garbage";
  if (answer.delay.count() > 0) note += " +" + std::to_string(answer.delay.count()) + " ms";
  return note;
}

void refuse(Taken& taken, const char* kind, const grpc::Status& fault) {
  taken.kind = kind;
  taken.answer = {.kind = Kind::error, .number = static_cast<std::uint32_t>(fault.error_code())};
  taken.reason = fault.error_message();
}

/// The status that the caller gets.
std::uint32_t statusOf(const script::Answer& answer) {
  switch (answer.kind) {
    case Kind::status:
      return answer.number;
    case Kind::garbage:
      return TARN_GRPC_GARBAGE;
    default:
      return TARN_GRPC_TRANSPORT + answer.number;
  }
}

}  // namespace

grpc::Status faultOf(const Taken& taken) {
  if (taken.answer.kind != Kind::error) return grpc::Status::OK;
  return grpc::Status(static_cast<grpc::StatusCode>(taken.answer.number), taken.reason);
}

bool Journal::open() {
  const Options& set = options_;
  if (!set.capture.empty() && capture_.setDir(set.capture.c_str()) != TARN_STATUS_OK) return false;
  return set.record.empty() ||
         shared::startRecording(recording_, set.record.c_str(), set.recordMegabytes);
}

Taken Journal::take(const reader::Schema::Method& method, shared::CallVariant variant,
                    const std::string& sequence, Bytes message) {
  Taken taken;
  taken.method = &method;
  taken.since = std::chrono::steady_clock::now();
  const auto size = static_cast<std::uint32_t>(message.size());
  if (!options_.record.empty()) {
    taken.recorded = recording_.request(variant, method.name, message, size);
  }
  judge(taken, sequence, message);
  if (recent_ != nullptr) show(taken, variant, message);
  return taken;
}

void Journal::ended(const Taken& taken, bool isAnswered) {
  const std::uint32_t status = statusOf(taken.answer);
  if (isAnswered) recording_.end(taken.recorded, taken.method->name, status);
  if (recent_ == nullptr) return;
  recent_->end(taken.shown, taken.method, isAnswered ? std::optional(status) : std::nullopt);
}

void Journal::show(Taken& taken, shared::CallVariant variant, Bytes message) {
  RecentCall call;
  call.method = taken.method;
  call.variant = shared::nameOf(variant);
  call.kind = taken.kind;
  call.size = message.size();
  call.since = taken.since;
  taken.shown = recent_->add(std::move(call), message);
}

/// A call that ends as it arrives, without a message.
void Journal::showRefused(const reader::Schema::Method* method, const std::string& path,
                          const char* kind, grpc::StatusCode code) {
  if (recent_ == nullptr) return;
  RecentCall call;
  call.method = method;
  call.path = shared::printable(path.substr(0, longestPath));
  call.kind = kind;
  call.since = std::chrono::steady_clock::now();
  const std::uint64_t number = recent_->add(std::move(call));
  recent_->end(number, method, TARN_GRPC_TRANSPORT + static_cast<std::uint32_t>(code));
}

void Journal::judge(Taken& taken, const std::string& sequence, Bytes message) {
  const std::string& name = taken.method->name;
  const std::size_t size = message.size();
  std::vector<reader::Item> items;
  if (const auto fault = reader::walk(*taken.method, message, items)) {
    refuse(taken, damaged, mqc::damaged());
    const std::lock_guard lock(mutex_);
    count(damaged, size);
    return lines_.add(lineFor(name, size, damaged, sequence) + ' ' + reader::at(fault->position) +
                      ": " + fault->words);
  }
  taken.kind = reader::isFull(message) ? full : compact;
  const std::string head = lineFor(name, size, taken.kind, sequence);
  accept(taken, head, options_.json ? ' ' + shown(schema_, *taken.method, message) : "", message);
}

void Journal::accept(Taken& taken, const std::string& head, const std::string& shown,
                     Bytes message) {
  const std::lock_guard lock(mutex_);
  if (keep(taken.method->name, taken.kind == full, message)) {
    count(taken.kind, message.size());
    ++methods_[taken.method->name];
    return lines_.add(head + settle(taken, message) + shown);
  }
  refuse(taken, notKept, {grpc::StatusCode::INTERNAL, "the request could not be kept"});
  count(notKept, message.size());
  lines_.add(head + shown + ' ' + notKept);
}

/// Sets how a call is answered, and returns what its line says of it.
std::string Journal::settle(Taken& taken, Bytes message) {
  const std::string& name = taken.method->name;
  const auto scripted = rules_.take(name, message);
  taken.answer = scripted
                     ? *scripted
                     : script::Answer{.number = options_.status.at(name),
                                      .delay = std::chrono::milliseconds(options_.delay.at(name))};
  if (taken.answer.kind == Kind::error) taken.reason = "as scripted";
  return scripted || taken.answer.delay.count() > 0 ? noteOf(taken.answer) : "";
}

grpc::Status Journal::takeNothing(const reader::Schema::Method& method) {
  showRefused(&method, "", missing, grpc::StatusCode::INVALID_ARGUMENT);
  const std::lock_guard lock(mutex_);
  count(missing, 0);
  lines_.add(timeOfDay() + ' ' + method.name + ": no complete message arrived");
  return grpc::Status(grpc::StatusCode::INVALID_ARGUMENT, "no message");
}

grpc::Status Journal::takeTooMany(const std::string& method) {
  showRefused(schema_.method(method), "stream", missing, grpc::StatusCode::RESOURCE_EXHAUSTED);
  const std::lock_guard lock(mutex_);
  count(missing, 0);
  lines_.add(timeOfDay() + ' ' + method + ": too many calls are open");
  return grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, "too many calls are open");
}

grpc::Status Journal::takeUnknown(const std::string& path) {
  showRefused(nullptr, path, unknown, grpc::StatusCode::UNIMPLEMENTED);
  const std::lock_guard lock(mutex_);
  count(unknown, 0);
  lines_.add(timeOfDay() + ' ' + shared::printable(path) + ": no such method");
  return grpc::Status(grpc::StatusCode::UNIMPLEMENTED, "no such method");
}

void Journal::takeFault(std::uint64_t sequence, const grpc::Status& fault) {
  showRefused(nullptr, "stream", damaged, fault.error_code());
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
  const std::string report = rules_.report();
  if (!report.empty()) text.append("\n\n").append(report);
  return text;
}

}  // namespace service
