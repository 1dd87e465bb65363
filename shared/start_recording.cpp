#include "shared/start_recording.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "shared/report.h"

namespace shared {
namespace {

int obstacle(std::string_view path) {
  char folder[PATH_MAX] = ".";
  const std::size_t slash = path.rfind('/');
  if (slash != std::string_view::npos) {
    folder[path.copy(folder, slash == 0 ? 1 : slash)] = '\0';
  }
  struct stat found = {};
  if (::lstat(path.data(), &found) == 0 && !S_ISREG(found.st_mode)) return EEXIST;
  return ::eaccess(folder, W_OK | X_OK) == 0 ? 0 : errno;
}

}  // namespace

bool startRecording(Recording& recording, const char* path, u32 megabytes) noexcept {
  int error = recording.setUp(path, u64{megabytes} * 1'048'576);
  if (error == 0) error = obstacle(path);
  if (error == 0) return true;
  char room[128];
  report("recording %s: %s", path, ::strerror_r(error, room, sizeof room));
  return false;
}

}  // namespace shared
