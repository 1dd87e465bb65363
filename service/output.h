#ifndef SERVICE_OUTPUT_H
#define SERVICE_OUTPUT_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace service {

/// Lines on their way to a descriptor, which a thread of its own writes: who adds one never waits
/// for a reader. Any thread may call.
class Output {
 public:
  explicit Output(int descriptor);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Adds a line, or several, without the last line end. While 8 MiB wait to be written, or memory
  /// is short, lines are dropped, and the next that is not is preceded by one that says how many.
  void add(std::string_view line) noexcept;
  /// Adds lines however many wait.
  void addLast(std::string_view lines);

  /// Waits until everything is written, at most that long, and returns how many lines were lost
  /// since the start, those that still wait included. Nothing may be added afterwards.
  std::uint64_t finish(std::chrono::milliseconds patience);

 private:
  struct State;
  // Shared with the thread, which a write that does not return keeps.
  std::shared_ptr<State> state_;
};

}  // namespace service

#endif
