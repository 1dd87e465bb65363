#ifndef INSPECT_OPTIONS_H
#define INSPECT_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "reader/filter.h"

namespace inspect {

/// What to do; as usual, messages are shown as JSON, recordings as a list.
enum class Task : int { usual, json, annotated, html, stats, diff, methods, help, version };

/// The command line, read.
struct Options {
  Task task = Task::usual;
  std::string method;  ///< of every message; empty: as the files' names state. Of calls: a filter
  std::string output;  ///< a file; empty: stdout
  reader::Choice choice;  ///< of a recording's calls
  std::vector<std::string> files;
};

/// Reads the command line. Invalid arguments are reported in one line on stderr; the result is then
/// empty.
std::optional<Options> readOptions(int argc, char** argv);

extern const char* const usage;

}  // namespace inspect

#endif
