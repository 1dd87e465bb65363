#ifndef SERVICE_STREAM_H
#define SERVICE_STREAM_H

#include <grpcpp/generic/async_generic_service.h>

#include <memory>
#include <mutex>
#include <set>

#include "reader/schema.h"
#include "service/delays.h"
#include "service/journal.h"
#include "service/open_calls.h"

namespace service {

/// Of every method, and of the stream.
inline constexpr char pathPrefix[] = "/MqcFesIntf/";
inline constexpr char streamPath[] = "/MqcFesIntf/stream";

/// The status with which calls end that the service's end overtakes.
grpc::Status ending();

class Stream;

/// The open streams of a server, over which calls arrive in order. Safe from any thread.
class Streams {
 public:
  /// All must outlive the streams.
  Streams(const reader::Schema& schema, Journal& journal, OpenCalls& calls, Delays& delays)
      : schema_(schema), journal_(journal), calls_(calls), delays_(delays) {}

  /// Serves a stream that has entered the open calls, and counts it out at its end.
  grpc::ServerGenericBidiReactor* open();
  /// Ends all streams: what has arrived is answered, nothing more is read.
  void end();

  const reader::Schema& schema() const { return schema_; }
  Journal& journal() { return journal_; }
  Delays& delays() { return delays_; }

  /// To be called by a stream at its end.
  void leave(const std::shared_ptr<Stream>& stream);

 private:
  const reader::Schema& schema_;
  Journal& journal_;
  OpenCalls& calls_;
  Delays& delays_;
  std::mutex mutex_;  // held while streams are told to end
  std::set<std::shared_ptr<Stream>> open_;
  bool isEnding_ = false;
};

}  // namespace service

#endif
