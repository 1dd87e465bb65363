#ifndef SCRIPT_SCRIPT_H
#define SCRIPT_SCRIPT_H

// Rules of how requests are answered, and what is expected of them: a file of JSON.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace script {

/// How a request is answered.
struct Answer {
  enum class Kind {
    status,   ///< with a reply
    error,    ///< with an error of gRPC's
    drop,     ///< never
    garbage,  ///< with bytes that are no reply
  };

  Kind kind = Kind::status;
  std::uint32_t number = 0;  ///< the status; the code, 1 to 16, of an error
  std::chrono::milliseconds delay{0};
};

/// The rules of a file. Once read, any thread may use it.
class Script {
 public:
  Script();
  ~Script();
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;

  /// Reads the file; to be called once, before all else.
  /// @return what is wrong with it, "FILE: line 4: ...", or nothing
  std::string read(const std::string& path);

  /// Takes a request without damage: the first rule that fits counts it.
  /// @return that rule's answer; nothing where no rule fits, or the one that does has no answers
  std::optional<Answer> take(std::string_view method, std::span<const std::uint8_t> message);
  /// The same at a given time; times do not go back.
  std::optional<Answer> take(std::string_view method, std::span<const std::uint8_t> message,
                             std::chrono::steady_clock::time_point now);
  /// Forgets what came: no rule has counted anything, each begins with its first answer.
  void restart();

  /// Whether every rule has counted what it expects.
  bool isAsExpected() const;
  /// What each rule with an expectation expects and has counted, as lines without the last line
  /// end; empty where no rule expects anything. Each line is complete in itself and, where the two
  /// differ, ends with "DIFFERS".
  std::string report() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace script

#endif
