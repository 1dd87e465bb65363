#include "shared/status_text.h"

#include <iterator>

#include "tarn/grpc.h"

namespace shared {
namespace {

struct Texts {
  const char* mayHaveActed;
  const char* notSent;
};

/// By gRPC's codes.
constexpr Texts transportTexts[] = {
#define BOTH(text) \
  { text, "not sent: " text }
    BOTH("a service's status"),
    BOTH("CANCELLED: the service, the connection or the channel's end cancelled the call"),
    BOTH("UNKNOWN: the service failed without saying how"),
    BOTH("INVALID_ARGUMENT: the service refuses the message"),
    BOTH("DEADLINE_EXCEEDED: no answer within the deadline"),
    BOTH("NOT_FOUND: the service refuses the message"),
    BOTH("ALREADY_EXISTS: the service refuses the message"),
    BOTH("PERMISSION_DENIED: the service refuses this client"),
    BOTH("RESOURCE_EXHAUSTED: a message or reply too large, or the service overloaded"),
    BOTH("FAILED_PRECONDITION: the service refuses the message"),
    BOTH("ABORTED: the service aborted the call"),
    BOTH("OUT_OF_RANGE: the service refuses the message"),
    {"UNIMPLEMENTED: the service has no such method",
     "not sent: UNIMPLEMENTED: the service has no stream"},
    BOTH("INTERNAL: the service or the connection broke gRPC's rules"),
    BOTH("UNAVAILABLE: no connection to the service"),
    BOTH("DATA_LOSS: the service lost data"),
    BOTH("UNAUTHENTICATED: the service does not know this client"),
#undef BOTH
};

}  // namespace

const char* statusText(u32 status) {
  switch (status) {
    case TARN_STATUS_OK:
      return "success";
    case TARN_STATUS_CAPTURE:
      return "the capture directory cannot be written";
    case TARN_STATUS_SCRIPT:
      return "the script cannot be used, or what it expects did not come";
    case TARN_STATUS_NO_RESOURCES:
      return "no memory, or no thread for completions";
    case TARN_STATUS_INVALID:
      return "no handle, no request, or another argument is missing";
    case TARN_STATUS_DEADLOCK:
      return "the wait for completions would never end";
    case TARN_STATUS_ENCODING:
      return "an encoder broke its contract";
    default:
      return nullptr;
  }
}

const char* grpcStatusText(u32 status) {
  const u32 code = (status - TARN_GRPC_TRANSPORT) % (TARN_GRPC_NOT_SENT - TARN_GRPC_TRANSPORT);
  if (code > 0 && code < std::size(transportTexts)) {
    if (status == TARN_GRPC_TRANSPORT + code) return transportTexts[code].mayHaveActed;
    if (status == TARN_GRPC_NOT_SENT + code) return transportTexts[code].notSent;
  }
  switch (status) {
    case TARN_STATUS_OK:
      return "success";
    case TARN_GRPC_FORKED:
      return "forked from a process that had a channel";
    case TARN_STATUS_NO_RESOURCES:
      return "no memory";
    case TARN_GRPC_BUSY:
      return "busy: the limit of calls or bytes in flight is reached";
    case TARN_STATUS_INVALID:
      return "no handle, no request, or another argument is missing";
    case TARN_STATUS_DEADLOCK:
      return "a callback tried to wait for callbacks";
    case TARN_GRPC_GARBAGE:
      return "the service's reply is not an MqcReply, or breaks the stream's rules";
    case TARN_STATUS_ENCODING:
      return "an encoder broke its contract";
    default:
      return transportTexts[0].mayHaveActed;
  }
}

}  // namespace shared
