#include "platform/loopback/rules.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "platform/loopback/state.h"
#include "shared/report.h"
#include "tarn/grpc.h"

namespace loopback {
namespace {

u32 statusOf(const script::Answer& answer) {
  constexpr u32 deadlineExceeded = 4;
  switch (answer.kind) {
    case script::Answer::Kind::status:
      break;
    case script::Answer::Kind::error:
      return TARN_GRPC_TRANSPORT + answer.number;
    case script::Answer::Kind::drop:
      return TARN_GRPC_TRANSPORT + deadlineExceeded;
    case script::Answer::Kind::garbage:
      return TARN_GRPC_GARBAGE;
  }
  return answer.number;
}

void reportLines(std::string_view text) {
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    line.remove_prefix(std::min(line.size(), line.find_first_not_of(' ')));
    shared::report("%.*s", static_cast<int>(line.size()), line.data());
  }
}

}  // namespace

bool Rules::read(const std::string& path) {
  const std::string fault = script_.read(path);
  areUsable_ = fault.empty();
  if (!areUsable_) shared::report("%s", fault.c_str());
  return areUsable_;
}

std::optional<Ruling> Rules::take(const TarnMessage& message) {
  const std::string_view interface = message.method.interfaceName;
  if (interface != "MqcFesIntf") return std::nullopt;
  const std::lock_guard lock(state().ruling);
  const std::optional<script::Answer> answer =
      script_.take(message.method.methodName, {message.compact, message.compactSize});
  if (!answer) return std::nullopt;
  return Ruling{statusOf(*answer), answer->delay};
}

void Rules::restart() {
  const std::lock_guard lock(state().ruling);
  script_.restart();
}

TarnStatus Rules::check() noexcept try {
  if (!areUsable_) {
    shared::report("the script of the environment cannot be used");
    return TARN_STATUS_SCRIPT;
  }
  std::string text;
  {
    const std::lock_guard lock(state().ruling);
    if (script_.isAsExpected()) return TARN_STATUS_OK;
    text = script_.report();
  }
  reportLines(text);
  return TARN_STATUS_SCRIPT;
} catch (const std::bad_alloc&) {
  shared::report("no memory for a report of what was expected");
  return TARN_STATUS_NO_RESOURCES;
}

}  // namespace loopback
