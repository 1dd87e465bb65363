#include "platform/grpc/stats_file.h"

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/grpc/callbacks.h"
#include "platform/grpc/failure.h"
#include "platform/grpc/metrics.h"
#include "platform/grpc/totals.h"
#include "shared/report.h"
#include "shared/temporary_file.h"

namespace delivery {
namespace {

constexpr char variable[] = "TARN_GRPC_STATS";

/// The file's path, empty if none is named.
std::string pathOfEnvironment() {
  const char* const value = ::secure_getenv(variable);
  if (value == nullptr) return {};
  if (*value == '\0') throw SetupError(std::string(variable) + " is empty");
  return shared::absolute(value);
}

/// Writes the counts; returns what is wrong when that fails.
std::string faultOf(const std::string& path) {
  const std::string named = std::string(variable) + " is '" + path + "'";
  struct stat found {};
  // A device would be replaced, too.
  if (::lstat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode)) {
    return named + ", which is not a regular file";
  }
  const std::string text = metricsOf(totals());
  shared::TemporaryFile file(path.substr(0, path.rfind('/')));
  int error = file.create({reinterpret_cast<const u8*>(text.data()), text.size()});
  if (error == 0) error = file.renameTo(path);
  return error == 0 ? "" : named + ": " + std::strerror(error);
}

}  // namespace

StatsFile& statsFile() {
  static auto* const only = new StatsFile;
  return *only;
}

void StatsFile::setUp() {
  if (path_ != nullptr) return;
  // Several threads may get here, and a child of a fork: so no lock.
  auto path = std::make_unique<const std::string>(pathOfEnvironment());
  const std::string fault = path->empty() ? "" : faultOf(*path);
  if (!fault.empty()) throw SetupError(fault);
  const std::string* none = nullptr;
  if (path_.compare_exchange_strong(none, path.get())) static_cast<void>(path.release());
}

Clock::time_point StatsFile::due() const {
  return hasFile() ? due_ : Clock::time_point::max();
}

void StatsFile::update() {
  if (!hasFile() || Clock::now() < due_) return;
  if (begin()) {
    write();
    finish();
  }
  due_ = Clock::now() + period;
}

bool StatsFile::begin() {
  const std::lock_guard lock(mutex_);
  isWriting_ = !isClosed_;
  return isWriting_;
}

void StatsFile::finish() {
  const std::lock_guard lock(mutex_);
  isWriting_ = false;
  finished_.notify_one();
}

void StatsFile::close() {
  if (!hasFile()) return;
  {
    std::unique_lock lock(mutex_);
    isClosed_ = true;
    if (!finished_.wait_for(lock, lastTime, [this] { return !isWriting_; })) return;
  }
  write();
}

void StatsFile::write() noexcept {
  const bool wasFailing = std::exchange(isFailing_, true);
  try {
    const std::string fault = faultOf(*path_);
    isFailing_ = !fault.empty();
    if (isFailing_ && !wasFailing) shared::report("%s", fault.c_str());
  } catch (const std::exception&) {
    if (!wasFailing) shared::report("no memory to write the counts");
  }
}

}  // namespace delivery
