#ifndef PLATFORM_GRPC_STATS_FILE_H
#define PLATFORM_GRPC_STATS_FILE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include "platform/grpc/call.h"

namespace delivery {

/// The file with the counts of the process's channels, if TARN_GRPC_STATS names one. The file is
/// replaced as a whole.
class StatsFile {
 public:
  /// Reads the setting and writes the file for the first time; throws a SetupError when it cannot
  /// be written. Does nothing once this has worked.
  void setUp();

  // For one thread, after the set-up.

  /// When it is to be written again.
  Clock::time_point due() const;
  /// Writes it if it is due.
  void update();

  /// Writes it for the last time, unless a write takes too long.
  void close();

 private:
  static constexpr std::chrono::seconds period{5};

  bool hasFile() const { return !path_.load()->empty(); }
  bool begin();
  void write() noexcept;
  void finish();

  std::atomic<const std::string*> path_ = nullptr;  // set once; empty: there is no file
  Clock::time_point due_ = Clock::now() + period;

  std::mutex mutex_;  // not held while the file is written
  std::condition_variable finished_;
  bool isWriting_ = false;
  bool isClosed_ = false;
  bool isFailing_ = false;  // for the thread that writes
};

/// The process's only one. Never destroyed: it is written at the end of the exit.
StatsFile& statsFile();

}  // namespace delivery

#endif
