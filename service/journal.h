#ifndef SERVICE_JOURNAL_H
#define SERVICE_JOURNAL_H

#include <grpcpp/support/status.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "reader/schema.h"
#include "script/script.h"
#include "service/options.h"
#include "service/output.h"
#include "service/recent_calls.h"
#include "shared/capture.h"
#include "shared/recording.h"

namespace service {

/// A request that has arrived, until its call ends.
struct Taken {
  const reader::Schema::Method* method = nullptr;
  const char* kind = "";  ///< as lines and totals name it
  std::chrono::steady_clock::time_point since;
  std::uint64_t recorded = 0;  ///< its number in the recording, if it is there
  script::Answer answer;       ///< what its call is to be answered with, and when
  std::string reason;          ///< of an error
  std::uint64_t shown = 0;     ///< its number among the recent calls, if they are kept
};

/// What ends a call without a status of its method's; OK for one with.
grpc::Status faultOf(const Taken& taken);

/// Keeps what arrives: a line, a capture and a record of each message, and totals. Safe from any
/// thread.
class Journal {
 public:
  /// All must outlive the journal.
  /// @param recent gets every call; nullptr: nobody looks on
  Journal(const reader::Schema& schema, const Options& options, script::Script& rules,
          Output& lines, RecentCalls* recent)
      : schema_(schema), options_(options), rules_(rules), lines_(lines), recent_(recent) {}

  /// Opens the capture directory and the recording that are set; reports when one cannot be
  /// written.
  bool open();

  /// Takes a request, whose call is to end with ended(). The sequence number is as the caller sent
  /// it.
  Taken take(const reader::Schema::Method& method, shared::CallVariant variant,
             const std::string& sequence, reader::Bytes message);
  /// Notes the end of a call that was taken: right before its answer is sent, or when it will have
  /// none.
  void ended(const Taken& taken, bool isAnswered);
  /// Takes a call whose message did not arrive, and returns the error to answer with.
  grpc::Status takeNothing(const reader::Schema::Method& method);
  /// Takes a call beyond the limit of open calls, and returns the error to answer with.
  grpc::Status takeTooMany(const std::string& method);
  /// Takes a call of an unknown method, and returns the error to answer with.
  grpc::Status takeUnknown(const std::string& path);
  /// Takes a call of a stream that cannot be acted on.
  void takeFault(std::uint64_t sequence, const grpc::Status& fault);

  /// The totals, of which every call is counted once, and the script's report, as lines without the
  /// last line end.
  std::string totals();

 private:
  struct Count {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
  };

  void judge(Taken& taken, const std::string& sequence, reader::Bytes message);
  void accept(Taken& taken, const std::string& head, const std::string& shown,
              reader::Bytes message);

  void show(Taken& taken, shared::CallVariant variant, reader::Bytes message);
  void showRefused(const reader::Schema::Method* method, const std::string& path, const char* kind,
                   grpc::StatusCode code);

  // These are called with the mutex held.
  void count(const char* kind, std::size_t bytes);
  bool keep(const std::string& method, bool isFull, reader::Bytes message);
  std::string settle(Taken& taken, reader::Bytes message);

  const reader::Schema& schema_;
  const Options& options_;
  script::Script& rules_;
  Output& lines_;
  RecentCalls* recent_;
  shared::Recording recording_;
  std::mutex mutex_;  // held while a capture and its line are made: both have the same order
  shared::Capture capture_;
  int captureError_ = 0;                          // of the last capture
  std::uint64_t notKept_ = 0;                     // in a row
  std::map<std::string, Count> counts_;           // by kind
  std::map<std::string, std::uint64_t> methods_;  // requests of each that were answered
};

}  // namespace service

#endif
