#ifndef SERVICE_JOURNAL_H
#define SERVICE_JOURNAL_H

#include <grpcpp/support/status.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "inspect/schema.h"
#include "platform/common/capture.h"
#include "service/options.h"

namespace service {

/// Takes what arrives: a line on stdout and a capture for each message, and totals. Any thread may
/// call.
class Journal {
 public:
  /// Both must outlive the journal.
  Journal(const inspect::Schema& schema, const Options& options)
      : schema_(schema), options_(options) {}

  /// Opens the capture directory, if there is one; tells on stderr when it cannot be written.
  bool open();

  /// Takes a request. The sequence number is the caller's, as it was sent; status gets what to
  /// reply with. Returns OK or the error to answer with.
  grpc::Status take(const inspect::Schema::Method& method, const std::string& sequence,
                    inspect::Bytes message, std::uint32_t& status);
  /// Takes a call of something that is no method, and returns the error to answer with.
  grpc::Status takeUnknown(const std::string& path);

  void printTotals();

 private:
  struct Count {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
  };

  grpc::Status record(const std::string& method, const char* kind, inspect::Bytes message,
                      const std::string& line);

  const inspect::Schema& schema_;
  const Options& options_;
  std::mutex mutex_;  // held while a capture and a line are written: both are in the same order
  platform::Capture capture_;
  std::map<std::string, Count> counts_;           // by kind: compact, full, damaged, unknown
  std::map<std::string, std::uint64_t> methods_;  // messages of each
};

}  // namespace service

#endif
