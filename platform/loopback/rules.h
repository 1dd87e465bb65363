#ifndef PLATFORM_LOOPBACK_RULES_H
#define PLATFORM_LOOPBACK_RULES_H

#include <chrono>
#include <optional>
#include <string>

#include "script/script.h"
#include "tarn/loopback.h"

namespace loopback {

/// How a rule has a call end.
struct Ruling {
  u32 status;  ///< what the delivery over gRPC reports for the rule's answer
  std::chrono::milliseconds delay;
};

/// The rules of a script, or none that can be used.
class Rules {
 public:
  /// Before all else. Returns false, after a report, when the rules cannot be used.
  bool read(const std::string& path);
  bool areUsable() const { return areUsable_; }

  /// Counts a message, if it is of the service's.
  std::optional<Ruling> take(const TarnMessage& message);
  /// Begins counts and turns anew.
  void restart();
  /// Reports what was expected, unless it came.
  TarnStatus check() noexcept;

 private:
  script::Script script_;
  bool areUsable_ = false;
};

}  // namespace loopback

#endif
