#ifndef SERVICE_JOURNAL_H
#define SERVICE_JOURNAL_H

#include <grpcpp/support/status.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "reader/schema.h"
#include "service/options.h"
#include "service/output.h"
#include "shared/capture.h"
#include "shared/recording.h"

namespace service {

/// Keeps what arrives: a line, a capture and a record of each message, and totals. Safe from any
/// thread.
class Journal {
 public:
  /// All must outlive the journal.
  Journal(const reader::Schema& schema, const Options& options, Output& lines)
      : schema_(schema), options_(options), lines_(lines) {}

  /// Opens the capture directory and the recording that are set; reports when one cannot be
  /// written.
  bool open();

  /// Takes a request, of which the recording has the end as well. The sequence number is as the
  /// caller sent it; status is set to that of the reply. Returns OK or the error to answer with.
  grpc::Status take(const reader::Schema::Method& method, shared::CallVariant variant,
                    const std::string& sequence, reader::Bytes message, std::uint32_t& status);
  /// Takes a call whose message did not arrive, and returns the error to answer with.
  grpc::Status takeNothing(const reader::Schema::Method& method);
  /// Takes a call beyond the limit of open calls, and returns the error to answer with.
  grpc::Status takeTooMany(const std::string& method);
  /// Takes a call of an unknown method, and returns the error to answer with.
  grpc::Status takeUnknown(const std::string& path);
  /// Takes a call of a stream that cannot be acted on.
  void takeFault(std::uint64_t sequence, const grpc::Status& fault);

  /// The totals, as lines without the last line end. Every call is counted once.
  std::string totals();

 private:
  struct Count {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
  };

  grpc::Status answer(const reader::Schema::Method& method, const std::string& sequence,
                      reader::Bytes message, std::uint32_t& status);

  // These are called with the mutex held.
  void count(const char* kind, std::size_t bytes);
  bool keep(const std::string& method, bool isFull, reader::Bytes message);

  const reader::Schema& schema_;
  const Options& options_;
  Output& lines_;
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
