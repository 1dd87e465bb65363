#ifndef INSPECT_OUTPUT_H
#define INSPECT_OUTPUT_H

#include <cstdio>
#include <string>
#include <string_view>

namespace inspect {

/// Where everything is written: stdout, or a file under another name until all of it is there, for
/// it may be one of the inputs. A pipe or a device stays what it is.
class Output {
 public:
  /// @param path a file, which nothing touches unless something is written; empty: stdout
  explicit Output(std::string path);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  /// Takes back what was not closed.
  ~Output();

  void write(std::string_view text);
  /// Gives the file its name. Returns false, and reports why on stderr, when not everything could
  /// be written; the file is then as it was.
  bool close();

 private:
  void open();
  void keepMode();
  void finish();

  std::string path_;
  std::string part_;
  std::FILE* file_;
  int error_ = 0;
};

}  // namespace inspect

#endif
