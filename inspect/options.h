#ifndef INSPECT_OPTIONS_H
#define INSPECT_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

namespace inspect {

/// What to do.
enum class Task : int { json, annotated, html, methods, help, version };

/// The command line, read.
struct Options {
  Task task = Task::json;
  std::string method;  ///< of every message; empty: as the files' names state
  std::string output;  ///< a file; empty: stdout
  std::vector<std::string> files;
};

/// Reads the command line. Invalid arguments are reported in one line on stderr; the result is then
/// empty.
std::optional<Options> readOptions(int argc, char** argv);

extern const char* const usage;

}  // namespace inspect

#endif
