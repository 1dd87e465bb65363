#ifndef SHARED_OUTPUT_H
#define SHARED_OUTPUT_H

#include <cstdio>
#include <string>
#include <string_view>

namespace shared {

/// The output: stdout, or a file, which is written under another name until it is complete, since
/// it may be one of the inputs. Pipes and devices are written directly.
class Output {
 public:
  /// @param path a file, not touched before something is written; empty: stdout
  explicit Output(std::string path);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  /// Removes an output that was not closed.
  ~Output();

  /// Opens the file before there is something to write. Returns false, and reports why on stderr,
  /// when it cannot be written.
  bool start();
  void write(std::string_view text);
  /// Hands on what was written; false once something could not be, which close() reports.
  bool flush();
  /// Renames the file to its final name. Returns false, and reports why on stderr, when not
  /// everything could be written; the former file is then unchanged.
  bool close();

 private:
  bool isFine() const;
  void open();
  void keepMode();
  void finish();

  std::string path_;
  std::string part_;
  std::FILE* file_;
  int error_ = 0;
};

}  // namespace shared

#endif
