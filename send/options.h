#ifndef SEND_OPTIONS_H
#define SEND_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "send/input.h"
#include "send/library.h"
#include "send/load_options.h"
#include "send/replay_options.h"

namespace send {

/// What to do.
enum class Task : int { send, dryRun, load, sample, fields, methods, help, version };

/// The command line, read.
struct Options {
  Task task = Task::send;
  std::string platform = "libtarn_grpc.so";
  std::string library = "libtarn_cli_mqc.so";
  Channel channel;
  Variant variant = Variant::sync;
  bool keepGoing = false;
  std::string output;                       ///< of a dry run: a file or folder; empty: stdout
  std::string file;                         ///< of lines, "-" for stdin; empty: one request
  const methods::Method* method = nullptr;  ///< of one request, or that is shown
  LoadOptions load;
  ReplayOptions replay;
  std::vector<std::string> words;  ///< of one request, behind its method

  /// Whether there may be more than one request.
  bool isSeveral() const { return !file.empty() || !replay.files.empty(); }
};

/// Reads the command line. Invalid arguments are reported in one line on stderr; the result is then
/// empty.
std::optional<Options> readOptions(int argc, char** argv);

extern const char* const usage;

}  // namespace send

#endif
