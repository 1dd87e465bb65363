#ifndef SEND_LOAD_REPORT_H
#define SEND_LOAD_REPORT_H

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "send/watch.h"

namespace send {

/// What a load came to; times in nanoseconds.
struct LoadResult {
  /// Calls that ended with a status, as words.
  struct Status {
    u32 status;
    std::string meaning;
    u64 calls;
  };

  double wantedRate = 0;  ///< 0: none
  u64 calls = 0;          ///< that started
  u64 notStarted = 0;     ///< due, but without a place or too late
  u64 neverEnded = 0;     ///< not within the patience of the plan
  u64 latestStart = 0;    ///< how far behind its time a call started at most
  u64 length = 0;         ///< until the sending was over and the last call had ended
  std::vector<Status> statuses;
  u64 otherStatuses = 0;  ///< calls beside those
  Distribution latencies;
  std::vector<Sample> samples;
  bool isInterrupted = false;

  /// Calls that ended.
  u64 ended() const { return calls - neverEnded; }
  /// How many of them ended in a second.
  double rate() const;
  /// Whether there were calls, and every one that was due returned 0.
  bool isSuccess() const;
};

/// The result of a load that has settled, without what a Watch has seen.
LoadResult resultOf(const Load& load, const LoadPlan& plan,
                    const std::function<std::string(u32)>& meaning);

/// For people, in lines.
std::string loadText(const LoadResult& result);
/// For machines; durations in microseconds, but for those named seconds.
nlohmann::ordered_json loadJson(const LoadResult& result);
/// As text in one line; what is not UTF-8 is replaced.
std::string toText(const nlohmann::ordered_json& report);
/// For a browser: one page that needs no other file.
std::string loadPage(const LoadResult& result);

}  // namespace send

#endif
