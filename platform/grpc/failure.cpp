#include "platform/grpc/failure.h"

#include <algorithm>
#include <cstdio>

#include "shared/printable.h"
#include "shared/report.h"
#include "shared/status_text.h"

const char* const shared::reporter = "tarn_grpc";

namespace delivery {
namespace {

/// An array, valid as long as the thread: exit() destroys objects while calls go on.
thread_local char lastText[1024] = "";

void keep(std::string_view text) {
  lastText[shared::showIn({lastText, sizeof lastText - 1}, text)] = '\0';
}

}  // namespace

u32 failure(const char* who, u32 status, std::string_view more) noexcept {
  char line[2 * sizeof lastText];
  const int size =
      std::snprintf(line, sizeof line, "%s: %s%s%.*s", who, shared::grpcStatusText(status),
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
  return shared::grpcStatusText(status);
}
