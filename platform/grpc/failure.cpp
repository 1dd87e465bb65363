#include "platform/grpc/failure.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "shared/printable.h"
#include "shared/report.h"

const char* const shared::reporter = "tarn_grpc";

namespace delivery {
namespace {

/// An array, valid as long as the thread: exit() destroys objects while calls go on.
thread_local char lastText[1024] = "";

void keep(std::string_view text) {
  lastText[shared::showIn({lastText, sizeof lastText - 1}, text)] = '\0';
}

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

const char* textOf(u32 status) {
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

}  // namespace

u32 failure(const char* who, u32 status, std::string_view more) noexcept {
  char line[2 * sizeof lastText];
  const int size =
      std::snprintf(line, sizeof line, "%s: %s%s%.*s", who, textOf(status),
                    more.empty() ? "" : ": ", static_cast<int>(more.size()), more.data());
  keep({line, std::min(static_cast<std::size_t>(size), sizeof line - 1)});
  return status;
}

void setupFailure(const char* why) noexcept {
  shared::report("%s", why);
  keep(why);
}

const char* lastFailure() {
  return lastText;
}

}  // namespace delivery

const char* TarnGrpc_statusText(u32 status) {
  return delivery::textOf(status);
}
