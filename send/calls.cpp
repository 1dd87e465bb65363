#include "send/calls.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace send {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;

}  // namespace

std::string lineOf(const Answer& answer) {
  nlohmann::ordered_json line;
  if (answer.entry->line > 0) line["line"] = answer.entry->line;
  if (answer.entry->recorded) line["call"] = answer.entry->recorded->number;
  line["method"] = answer.entry->method->name;
  line["status"] = answer.status;
  line["meaning"] = answer.meaning;
  line["microseconds"] = answer.time.count();
  using Handler = nlohmann::json::error_handler_t;
  return line.dump(-1, ' ', false, Handler::replace) + '\n';
}

void Calls::make(const std::shared_ptr<const Entry>& entry) {
  const Entry& made = *entry;
  Call* call = nullptr;
  {
    const std::lock_guard lock(mutex_);
    call = &calls_.emplace_back(Call{*this, *made.method, entry, Clock::time_point()});
    ++open_;
  }
  u32 status = submit(made, *call);
  // The limit is one of calls that do not wait; from another, it is the service's own status.
  if (made.variant != Variant::sync && library_.isBusy(status)) {
    library_.drain(static_cast<u32>(longest_.count()));
    status = submit(made, *call);
  }
  if (made.variant != Variant::async || status != 0) end(*call, status);
  if (made.variant != Variant::async) calls_.pop_back();
}

std::deque<Answer> Calls::take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(answers_, {});
}

std::deque<Answer> Calls::takeBy(Clock::time_point time) {
  std::unique_lock lock(mutex_);
  come_.wait_until(lock, time, [this] { return !answers_.empty(); });
  return std::exchange(answers_, {});
}

std::deque<Answer> Calls::await() {
  std::unique_lock lock(mutex_);
  come_.wait_for(lock, longest_, [this] { return !answers_.empty() || open_ == 0; });
  return std::exchange(answers_, {});
}

std::size_t Calls::open() {
  const std::lock_guard lock(mutex_);
  return open_;
}

u32 Calls::submit(const Entry& entry, Call& call) const {
  const void* const request = entry.request.data();
  const Exports& exports = library_.of(*entry.method);
  call.begin = Clock::now();
  switch (entry.variant) {
    case Variant::async:
      return exports.async(request, onEnd, &call, nullptr);
    case Variant::oneway:
      return exports.oneway(request, nullptr);
    default:
      return exports.call(request, nullptr);
  }
}

void Calls::end(Call& call, u32 status) {
  const auto time = duration_cast<microseconds>(Clock::now() - call.begin);
  std::string meaning = library_.meaning(call.method, status);
  const std::lock_guard lock(mutex_);
  if (call.entry == nullptr) return;
  answers_.push_back({std::move(call.entry), status, std::move(meaning), time});
  --open_;
  come_.notify_one();
}

void Calls::onEnd(u32 status, void* call) {
  Call& ended = *static_cast<Call*>(call);
  ended.calls.end(ended, status);
}

std::string sumOf(const Counts& counts) {
  std::string text;
  for (const auto& [status, count] : counts) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " with status ";
    text += std::to_string(status);
  }
  return text;
}

}  // namespace send
