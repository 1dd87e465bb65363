#ifndef INSPECT_INPUT_H
#define INSPECT_INPUT_H

#include <cstdint>
#include <string>
#include <vector>

#include "reader/recording.h"

namespace inspect {

/// A file that was named, whose first bytes distinguish messages and recordings.
class Input {
 public:
  /// @param path of the file; "-" is the standard input
  explicit Input(std::string path) : path_(std::move(path)) {}
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  ~Input();

  // Each returns why it failed, or nothing.

  std::string open();
  /// Reads a message; of one that is too long, just enough to detect that.
  std::string readMessage(std::vector<std::uint8_t>& bytes);
  /// Adds the file, which must be one, to a recording.
  std::string addTo(reader::Recording& recording);

  const std::string& path() const { return path_; }
  bool isRecording() const { return reader::hasPackets(start_); }

 private:
  /// Reads on, to so many bytes in all or to the end.
  std::string read(std::vector<std::uint8_t>& bytes, std::size_t size) const;

  std::string path_;
  int file_ = -1;
  std::vector<std::uint8_t> start_;
};

}  // namespace inspect

#endif
