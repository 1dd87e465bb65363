#include "inspect/calls.h"

#include "inspect/refuse.h"
#include "shared/printable.h"
#include "shared/report.h"

namespace inspect {
namespace {

using shared::Output;
using shared::report;

constexpr std::size_t mostReports = 10;  // of calls

std::string packets(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " packet" : " packets");
}

bool addAll(Calls& calls, const Options& options, Input& first, std::size_t from) {
  bool areFine = calls.add(first);
  for (std::size_t i = from + 1; i < options.files.size(); ++i) {
    areFine = calls.add(options.files[i]) && areFine;
  }
  return areFine && from == 0;
}

void show(Task task, Calls& calls, Output& output) {
  switch (task) {
    case Task::json:
      return writeCallsAsJson(calls, output);
    case Task::annotated:
      return annotateCalls(calls, output);
    case Task::html:
      return writeCallsPage(calls, output);
    case Task::stats:
      return writeStatistics(calls, output);
    default:
      return listCalls(calls, output);
  }
}

bool canChoose(const Calls& calls, const reader::Names& methods) {
  const std::string why = calls.fault(methods);
  if (!why.empty()) report("%s", why.c_str());
  return why.empty();
}

int compare(const Schema& schema, const Options& options, Input& first) {
  Calls before(schema, options);
  Calls after(schema, options);
  if (!before.add(first) || !after.add(options.files[1])) return refused;
  if (!before.rewind() || !after.rewind()) return refused;
  reader::Names methods = before.methods();
  methods.insert(after.methods().begin(), after.methods().end());
  if (!canChoose(before, methods)) return wrongArguments;
  Output output(options.output);
  const bool isDifferent = writeDifferences(before, after, output);
  const int status = std::max(before.finish(), after.finish());
  return output.close() && !isDifferent ? status : refused;
}

}  // namespace

bool Calls::add(Input& input) {
  const std::string why = input.addTo(recording_);
  return why.empty() || refuse(input.path(), why);
}

bool Calls::add(const std::string& path) {
  Input input(path);
  const std::string why = input.open();
  return why.empty() ? add(input) : refuse(path, why);
}

bool Calls::rewind() {
  const std::string why = calls_.rewind();
  if (!why.empty()) report("%s", why.c_str());
  return why.empty();
}

bool Calls::next(Call& call) {
  while (calls_.next(call)) {
    if (filter_.takes(call)) return true;
  }
  return false;
}

bool Calls::walk(const Call& call, Message& message) {
  const std::string name = "call " + std::to_string(call.number);
  message.name = name + ", " + shared::printable(call.method);
  if (!call.isWhole() || call.message.empty()) return false;
  message.method = schema_.method(call.method);
  message.bytes = call.message;
  std::string why = "no method is called " + call.method;
  if (message.method != nullptr) {
    const auto fault = reader::walk(*message.method, message.bytes, message.items);
    if (!fault) return true;
    why = damage(message, *fault);
  }
  if (++refusals_ <= mostReports) refuse(name, why);
  return false;
}

int Calls::finish() {
  for (const reader::PacketFile& file : recording_.files()) finish(file);
  if (calls_.missing() > 0) {
    report("%s could not be recorded", packets(calls_.missing()).c_str());
  }
  if (refusals_ > mostReports) {
    report("%zu more calls have requests that are damaged or of unknown methods",
           refusals_ - mostReports);
  }
  return isDamaged_ || refusals_ > 0 ? refused : 0;
}

void Calls::finish(const reader::PacketFile& file) {
  if (!file.damage().empty()) {
    refuse(file.path(), "damaged at " + file.damage());
    isDamaged_ = true;
  }
  if (!file.foreign().empty()) refuse(file.path(), file.foreign());
}

int showCalls(const Schema& schema, const Options& options, Input& first, std::size_t from) {
  if (options.task == Task::diff) return from == 0 ? compare(schema, options, first) : refused;
  Calls calls(schema, options);
  const bool areFine = addAll(calls, options, first, from);
  if (!calls.rewind()) return refused;
  if (!canChoose(calls, calls.methods())) return wrongArguments;
  Output output(options.output);
  show(options.task, calls, output);
  const int status = calls.finish();
  return output.close() && areFine ? status : refused;
}

}  // namespace inspect
