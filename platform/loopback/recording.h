#ifndef PLATFORM_LOOPBACK_RECORDING_H
#define PLATFORM_LOOPBACK_RECORDING_H

#include <array>
#include <memory>
#include <string>
#include <utility>

#include "shared/recording.h"
#include "tarn/loopback.h"

namespace loopback {

/// A recording, whose file is closed when neither a setting nor a call has it any more.
struct Recording {
  explicit Recording(std::string name) : path(std::move(name)) {}
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// Before all else. Returns false, after a report, when it cannot be used.
  bool start() noexcept;

  const std::string path;
  shared::Recording calls;
};

/// A call in a recording, or in none.
class RecordedCall {
 public:
  RecordedCall() = default;
  /// Records the request, unless there is no recording or the message is another interface's.
  RecordedCall(std::shared_ptr<Recording> recording, const TarnMessage& message) noexcept;
  /// Records the call's end.
  void end(u32 status) const noexcept;

 private:
  std::shared_ptr<Recording> recording_;
  u64 sequence_ = 0;
  std::array<char, shared::longestName> method_;
  std::size_t methodSize_ = 0;
};

}  // namespace loopback

#endif
