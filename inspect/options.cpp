#include "inspect/options.h"

#include <algorithm>

#include "shared/arguments.h"
#include "shared/report.h"

namespace inspect {
namespace {

using shared::report;

/// Whether the options can be carried out.
bool isWhole(const Options& options) {
  if (options.task > Task::html) return true;
  const auto inputs = std::count(options.files.begin(), options.files.end(), "-");
  if (options.files.empty()) {
    report("no file named; see --help");
  } else if (inputs > 1) {
    report("- is named twice");
  } else if (inputs == 1 && options.method.empty()) {
    report("-: unknown method; use --method NAME");
  } else {
    return true;
  }
  return false;
}

}  // namespace

const char* const usage =
    "usage: tarn-inspect [OPTION]... FILE...\n"
    "Shows captured messages of MqcFesIntf, after a check of every byte.\n"
    "\n"
    "A file's name states method and encoding: 0007-sendRuleMac.compact.bin. - is the standard "
    "input.\n"
    "\n"
    "  --json           as JSON, the default\n"
    "  --annotate       every byte with its meaning\n"
    "  --html           one page for a browser, bytes and fields side by side\n"
    "  --method NAME    the method of every message, whatever the names are\n"
    "  --output FILE    write to this file instead of the standard output\n"
    "  --methods        list the methods and their requests\n"
    "  --help, --version\n"
    "\n"
    "It exits with 2 for invalid arguments, with 1 if a file was refused or the output could not\n"
    "be written; each is reported in a line on stderr.\n";

std::optional<Options> readOptions(int argc, char** argv) {
  int task = 0;
  const auto sets = [&task](const char* name, Task value) {
    return option{name, no_argument, &task, static_cast<int>(value)};
  };
  const option known[] = {sets("json", Task::json),
                          sets("annotate", Task::annotated),
                          sets("html", Task::html),
                          sets("methods", Task::methods),
                          sets("help", Task::help),
                          sets("version", Task::version),
                          {"method", required_argument, nullptr, 'm'},
                          {"output", required_argument, nullptr, 'o'},
                          {}};
  Options options;
  for (int found = 0; (found = shared::nextOption(argc, argv, known)) != -1;) {
    if (found == '?') return std::nullopt;
    if (found == 'm') options.method = optarg;
    if (found == 'o') options.output = optarg;
  }
  options.task = static_cast<Task>(task);
  options.files.assign(argv + optind, argv + argc);
  if (!isWhole(options)) return std::nullopt;
  return options;
}

}  // namespace inspect
