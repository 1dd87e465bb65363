#ifndef INSPECT_OPTIONS_H
#define INSPECT_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

namespace inspect {

/// What is asked for.
enum class Task : int { json, annotated, html, methods, help, version };

/// What the command line says.
struct Options {
  Task task = Task::json;
  std::string method;  ///< of every message; empty: as the files' names tell
  std::string output;  ///< a file; empty: stdout
  std::vector<std::string> files;
};

/// Reads the command line. What makes no sense is told in one line on stderr, and there are no
/// options.
std::optional<Options> readOptions(int argc, char** argv);

extern const char* const usage;

}  // namespace inspect

#endif
