#include "inspect/options.h"

#include <algorithm>

#include "shared/arguments.h"
#include "shared/report.h"

namespace inspect {
namespace {

using shared::report;

/// Whether the options can be carried out.
bool isWhole(const Options& options) {
  if (options.task > Task::diff) return true;
  const auto inputs = std::count(options.files.begin(), options.files.end(), "-");
  if (options.files.empty()) {
    report("no file named; see --help");
  } else if (inputs > 1) {
    report("- is named twice");
  } else if (options.task == Task::diff && options.files.size() != 2) {
    report("--diff compares two recordings, no more and no less");
  } else {
    return true;
  }
  return false;
}

bool choose(const char* option, const std::string& value, reader::Choice& choice) {
  const std::string fault = reader::readChoice(option, value, choice);
  if (!fault.empty()) report("%s", fault.c_str());
  return fault.empty();
}

bool readValue(int option, const std::string& text, Options& options) {
  switch (option) {
    case 'm':
      options.method = text;
      break;
    case 'o':
      options.output = text;
      break;
    case 's':
      return choose("status", text, options.choice);
    case 'f':
      return choose("since", text, options.choice);
    case 'u':
      return choose("until", text, options.choice);
    case 'w':
      return choose("where", text, options.choice);
    default:
      break;
  }
  return true;
}

}  // namespace

const char* const usage =
    "usage: tarn-inspect [OPTION]... FILE...\n"
    "Shows captured messages of MqcFesIntf, after a check of every byte, and recordings of calls.\n"
    "\n"
    "A message's file name states method and encoding: 0007-sendRuleMac.compact.bin. A recording\n"
    "is a file of packets, pcap or pcapng; several are shown as one, in the order of time. - is "
    "the\n"
    "standard input.\n"
    "\n"
    "  --json           messages as JSON, the default; calls as lines of JSON\n"
    "  --annotate       every byte with its meaning\n"
    "  --html           one page for a browser, bytes and fields side by side\n"
    "  --method NAME    the method of every message, whatever the names are; of a recording, only\n"
    "                   the calls of this method\n"
    "  --output FILE    write to this file instead of the standard output\n"
    "  --methods        list the methods and their requests\n"
    "  --help, --version\n"
    "\n"
    "Recordings: a line for each call, or\n"
    "  --stats          calls, statuses, percentiles of the methods' times\n"
    "  --diff           what differs between two recordings: calls, statuses, fields by name\n"
    "and of the calls only those that match all of\n"
    "  --status N       that status; none: calls without an end\n"
    "  --failed         a status other than 0\n"
    "  --since TIME, --until TIME\n"
    "                   in UTC: 2026-11-26T05:29:43.5, 2026-11-26; 05:29 on the first call's day\n"
    "  --where 'FIELD OPERATOR NUMBER'\n"
    "                   a field of the request, f3 or head.f0 or f11[3].f0[1]; ==, !=, <, <=, >, "
    ">=;\n"
    "                   may be repeated\n"
    "\n"
    "It exits with 2 for invalid arguments, with 1 if a file was refused or is damaged, two\n"
    "recordings differ or the output could not be written; each is reported in a line on stderr.\n";

std::optional<Options> readOptions(int argc, char** argv) {
  int task = 0;
  int failed = 0;
  const auto sets = [&task](const char* name, Task value) {
    return option{name, no_argument, &task, static_cast<int>(value)};
  };
  const auto takes = [](const char* name, int letter) {
    return option{name, required_argument, nullptr, letter};
  };
  const option known[] = {sets("json", Task::json),
                          sets("annotate", Task::annotated),
                          sets("html", Task::html),
                          sets("stats", Task::stats),
                          sets("diff", Task::diff),
                          sets("methods", Task::methods),
                          sets("help", Task::help),
                          sets("version", Task::version),
                          {"failed", no_argument, &failed, 1},
                          takes("method", 'm'),
                          takes("output", 'o'),
                          takes("status", 's'),
                          takes("since", 'f'),
                          takes("until", 'u'),
                          takes("where", 'w'),
                          {}};
  Options options;
  for (int found = 0; (found = shared::nextOption(argc, argv, known)) != -1;) {
    if (found == '?') return std::nullopt;
    if (found != 0 && !readValue(found, optarg, options)) return std::nullopt;
  }
  options.task = static_cast<Task>(task);
  options.choice.failed = failed != 0;
  options.files.assign(argv + optind, argv + argc);
  if (!isWhole(options)) return std::nullopt;
  return options;
}

}  // namespace inspect
