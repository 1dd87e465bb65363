#ifndef SERVICE_OUTPUT_H
#define SERVICE_OUTPUT_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace service {

/// Lines for a descriptor, written by a thread of its own, so that adding one never waits for a
/// reader. Safe from any thread.
class Output {
 public:
  explicit Output(int descriptor);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Adds a line, or several, without the last line end. While 8 MiB wait to be written, or on
  /// allocation failure, lines are dropped; before the next one, a line states how many.
  void add(std::string_view line) noexcept;
  /// Adds lines even if too many wait.
  void addLast(std::string_view lines);

  /// Waits at most that long until everything is written, and returns the number of lines lost
  /// since the start, those still waiting included. Nothing may be added afterwards.
  std::uint64_t finish(std::chrono::milliseconds patience);

 private:
  struct State;
  // Shared with the thread, which may hang in a write.
  std::shared_ptr<State> state_;
};

}  // namespace service

#endif
