#include "send/loading.h"

#include <unistd.h>

#include <algorithm>

#include "send/load_report.h"
#include "send/sending.h"
#include "shared/output.h"
#include "shared/report.h"

namespace send {
namespace {

using shared::Output;

/// How many samples a load has, and how short their intervals are at least.
constexpr u64 samples = 200;
constexpr u64 shortest = second / 10;

LoadCall callOf(const Exports& exports, const Entry& entry) {
  const void* const request = entry.request.data();
  if (entry.variant == Variant::oneway) {
    return {[&exports, request](auto...) { return exports.oneway(request, nullptr); }, true};
  }
  return {[&exports, request](RpcAsyncCallback cb, void* userData) {
            return exports.async(request, cb, userData, nullptr);
          },
          false};
}

using Entries = std::vector<std::shared_ptr<const Entry>>;

Entries readAll(Requests& requests) {
  Entries entries;
  while (auto entry = requests.next()) entries.push_back(std::move(entry));
  return entries;
}

std::vector<LoadCall> callsOf(const Library& library, const Entries& entries) {
  std::vector<LoadCall> calls;
  calls.reserve(entries.size());
  for (const auto& entry : entries) calls.push_back(callOf(library.of(*entry->method), *entry));
  return calls;
}

/// The length of a sample's interval.
u64 intervalOf(const LoadPlan& plan) {
  double expected = static_cast<double>(plan.duration);
  if (plan.rate > 0) {
    const double seconds = static_cast<double>(plan.count) / plan.rate;
    expected = std::min(expected, seconds * static_cast<double>(second));
  }
  if (expected >= static_cast<double>(LoadPlan::unlimited)) return second;
  return std::max(static_cast<u64>(expected / samples), shortest);
}

}  // namespace

bool runLoad(const Library& library, Requests& requests, const LoadOptions& options) {
  Output page(options.page);
  if (!options.page.empty() && !page.start()) return false;
  LoadPlan plan = options.plan();
  plan.patience = static_cast<u64>(longestCall().count()) * millisecond;
  // None is ever destroyed: a callback may run while the process ends.
  static auto& entries = *new Entries(readAll(requests));
  if (entries.size() != requests.size()) {
    shared::report("the recording has changed since it was checked; nothing is sent");
    return false;
  }
  static auto& clock = *new MonotonicClock;
  static auto& load = *new Load(plan, callsOf(library, entries), clock);
  Watch watch(load, intervalOf(plan), ::isatty(STDERR_FILENO) == 1);
  load.send();
  if (load.settle()) library.drain(static_cast<u32>(longestCall().count()));  // one-way messages
  const auto meaning = [&](u32 status) { return library.meaning(*entries[0]->method, status); };
  LoadResult result = resultOf(load, plan, meaning);
  result.samples = watch.finish();
  result.isInterrupted = watch.wasInterrupted();

  if (result.calls == 0) shared::report("no call was started in so short a time");
  Output output("");
  output.write(options.isJson ? toText(loadJson(result)) + '\n' : loadText(result));
  if (!options.page.empty()) page.write(loadPage(result));
  const bool isWritten = output.close() && (options.page.empty() || page.close());
  return isWritten && result.isSuccess();
}

}  // namespace send
