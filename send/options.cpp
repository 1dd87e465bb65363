#include "send/options.h"

#include <unistd.h>

#include <charconv>
#include <cmath>
#include <utility>

#include "shared/arguments.h"
#include "shared/report.h"

namespace send {
namespace {

using shared::report;

bool readNumber(const std::string& text, double& number) {
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  return error == std::errc{} && rest == end;
}

/// From seconds to milliseconds, as the environment has them.
bool readDeadline(const std::string& text, std::string& milliseconds) {
  constexpr double longest = 3600;
  double seconds = 0;
  if (!readNumber(text, seconds) || !(seconds >= 0.001) || seconds > longest) {
    report("--deadline %s: not seconds from 0.001 to 3600", text.c_str());
    return false;
  }
  milliseconds = std::to_string(std::lround(seconds * 1000));
  return true;
}

bool readSpeed(const std::string& text, double& speed) {
  if (text.empty() || (readNumber(text, speed) && speed >= 0.001 && speed <= 1'000'000))
    return true;
  report("--speed %s: not a number from 0.001 to 1000000", text.c_str());
  return false;
}

bool findMethod(const std::string& name, Options& options) {
  options.method = methods::find(name);
  if (options.method != nullptr) return true;
  report("%s: %s", methods::shown(name).c_str(), methods::noSuchMethod(name).c_str());
  return false;
}

bool refuseWord(const char* word) {
  report("%s beside an option that sends nothing", word);
  return false;
}

/// What stands behind the options: a method and its request, more recordings, or nothing.
bool readRest(int count, char** rest, Options& options) {
  if (options.task > Task::load) return count == 0 || refuseWord(rest[0]);
  if (!options.replay.files.empty()) {
    options.replay.files.insert(options.replay.files.end(), rest, rest + count);
    return true;
  }
  if (count == 0) {
    if (!options.file.empty()) return true;
    options.file = "-";
    if (::isatty(STDIN_FILENO) == 0) return true;
    report("nothing to send; see --help");
    return false;
  }
  if (!options.file.empty()) {
    report("%s beside --file: the file's lines name their methods", rest[0]);
    return false;
  }
  options.words.assign(rest + 1, rest + count);
  return findMethod(rest[0], options);
}

/// Whether what is only for a load goes with one.
bool hasLoad(const Options& options) {
  if (options.task == Task::load || !options.load.isStated()) return true;
  report("--rate, --duration, --count, --in-flight, --json and --html are for --load");
  return false;
}

/// Whether what is for a replay goes with one, and what is not for it is missing.
bool hasReplay(const Options& options) {
  const bool hasPace = options.replay.speed > 0;
  const bool isChosen = options.replay.choice.isMade() || !options.replay.method.empty();
  if (options.replay.files.empty()) {
    if (!hasPace && !options.replay.isChecked && !isChosen) return true;
    report("--speed, --check and the options that choose calls are for --replay");
  } else if (!options.file.empty()) {
    report("--file beside --replay: one of them");
  } else if (options.variant != Variant::sync) {
    report("--async and --oneway are not for --replay: calls are made as they are recorded");
  } else if (options.task == Task::load && (hasPace || options.replay.isChecked)) {
    report("--speed and --check are not for --load");
  } else if (options.task == Task::dryRun && hasPace) {
    report("--speed is not for --dry-run");
  } else {
    return true;
  }
  return false;
}

/// Whether a dry run has a place for its messages.
bool hasPlace(const Options& options) {
  const bool isNamed = !options.output.empty();
  if (options.task != Task::dryRun) {
    if (isNamed) report("--output is for --dry-run: a call has no message to keep");
    return !isNamed;
  }
  if (isNamed) return true;
  if (options.replay.isChecked) return true;  // prints what differs
  const bool isOne = !options.isSeveral();
  const bool isShown = ::isatty(STDOUT_FILENO) != 0;
  if (!isOne) {
    report("--dry-run of several requests needs --output FOLDER");
  } else if (isShown) {
    report("a message is not for a terminal; use --output FILE");
  }
  return isOne && !isShown;
}

/// The options with a value, each with the place for it; those without set a number.
struct Texts {
  std::string deadline, sample, fields, speed;
  LoadTexts load;

  std::vector<std::pair<const char*, std::string*>> placesWith(Options& options) {
    Channel& channel = options.channel;
    return {{"to", &channel.target},
            {"deadline", &deadline},
            {"ca", &channel.ca},
            {"cert", &channel.cert},
            {"key", &channel.key},
            {"server-name", &channel.serverName},
            {"platform", &options.platform},
            {"library", &options.library},
            {"file", &options.file},
            {"output", &options.output},
            {"speed", &speed},
            {"template", &sample},
            {"fields", &fields},
            {"rate", &load.rate},
            {"duration", &load.duration},
            {"count", &load.count},
            {"in-flight", &load.inFlight},
            {"html", &options.load.page}};
  }
};

struct Numbers {
  int task = 0, dryRun = 0, load = 0, variant = 0, full = 0, stream = 0, keepGoing = 0, json = 0;
  int check = 0, failed = 0;

  Task whatToDo() const {
    if (task != 0) return static_cast<Task>(task);
    if (load != 0) return Task::load;
    return dryRun != 0 ? Task::dryRun : Task::send;
  }

  std::vector<option> options() {
    const auto sets = [](const char* name, int& number, auto value) {
      return option{name, no_argument, &number, static_cast<int>(value)};
    };
    return {sets("dry-run", dryRun, 1),
            sets("load", load, 1),
            sets("methods", task, Task::methods),
            sets("help", task, Task::help),
            sets("version", task, Task::version),
            sets("async", variant, Variant::async),
            sets("oneway", variant, Variant::oneway),
            sets("full", full, 1),
            sets("stream", stream, 1),
            sets("keep-going", keepGoing, 1),
            sets("json", json, 1),
            sets("check", check, 1),
            sets("failed", failed, 1)};
  }
};

/// The options that state recordings and choose their calls.
constexpr const char* choices[] = {"replay", "method", "status", "since", "until", "where"};

bool choose(const std::string& option, const std::string& value, ReplayOptions& replay) {
  std::string fault;
  if (option == "replay") {
    replay.files.push_back(value);
  } else if (option != "method") {
    fault = reader::readChoice(option, value, replay.choice);
  } else if (methods::find(value) == nullptr) {
    fault = "--method " + methods::shown(value) + ": " + methods::noSuchMethod(value);
  } else {
    replay.method = value;
  }
  if (!fault.empty()) report("%s", fault.c_str());
  return fault.empty();
}

/// Takes the command line apart; false, with a report, where it is not one.
bool parse(int argc, char** argv, Numbers& numbers, Texts& texts, Options& options) {
  constexpr int first = 256;  // no character, which getopt() may return itself
  const auto places = texts.placesWith(options);
  std::vector<option> known = numbers.options();
  const auto add = [&known](const char* name, std::size_t i) {
    known.push_back({name, required_argument, nullptr, first + static_cast<int>(i)});
  };
  for (std::size_t i = 0; i < places.size(); ++i) add(places[i].first, i);
  for (std::size_t i = 0; i < std::size(choices); ++i) add(choices[i], places.size() + i);
  known.push_back({});
  for (int found = 0; (found = shared::nextOption(argc, argv, known.data())) != -1;) {
    if (found == '?') return false;
    if (found < first) continue;
    const auto i = static_cast<std::size_t>(found - first);
    if (i < places.size()) {
      *places[i].second = optarg;
    } else if (!choose(choices[i - places.size()], optarg, options.replay)) {
      return false;
    }
  }
  return true;
}

/// Reads what needs more than its place.
bool understand(const Numbers& numbers, const Texts& texts, Options& options) {
  if (numbers.dryRun != 0 && numbers.load != 0) {
    report("--dry-run beside --load: a load is sent");
    return false;
  }
  options.task = numbers.whatToDo();
  options.variant = static_cast<Variant>(numbers.variant);
  options.channel.full = numbers.full != 0;
  options.channel.stream = numbers.stream != 0;
  options.keepGoing = numbers.keepGoing != 0;
  options.load.isJson = numbers.json != 0;
  options.replay.isChecked = numbers.check != 0;
  options.replay.choice.failed = numbers.failed != 0;
  if (!readSpeed(texts.speed, options.replay.speed)) return false;
  if (!readLoad(texts.load, options.load)) return false;
  if (!texts.deadline.empty() && !readDeadline(texts.deadline, options.channel.deadlineMs)) {
    return false;
  }
  if (texts.sample.empty() && texts.fields.empty()) return true;
  options.task = texts.sample.empty() ? Task::fields : Task::sample;
  return findMethod(texts.sample.empty() ? texts.fields : texts.sample, options);
}

}  // namespace

const char* const usage =
    "usage: tarn-send [OPTION]... METHOD [JSON | -] [FIELD=VALUE]...\n"
    "       tarn-send [OPTION]... [--file FILE]\n"
    "       tarn-send [OPTION]... --replay FILE...\n"
    "Sends requests of MqcFesIntf, and prints each answer as a line of JSON.\n"
    "\n"
    "  tarn-send --template sendRuleMac\n"
    "  tarn-send --to unix:/tmp/mqc.sock sendRuleMac '{\"head\": {\"f0\": 1}, \"f3\": 37}'\n"
    "  tarn-send --to unix:/tmp/mqc.sock sendRuleMac head.f0=1 f3=0x25 f1=00:11:22:33:44:55\n"
    "\n"
    "- is the standard input, which holds one request. Without a method, and without --file, it\n"
    "holds lines: {\"method\": \"sendRuleMac\", \"request\": {\"f3\": 37}, \"variant\": "
    "\"async\"}.\n"
    "Fields that a request does not name are zero.\n"
    "\n"
    "  --template METHOD  print a request with every field\n"
    "  --fields METHOD    list the fields and their types\n"
    "  --methods          list the methods and their requests\n"
    "  --to TARGET        the service: unix:/run/mqc.sock, dns:///host:port\n"
    "  --deadline SECONDS how long a call may take\n"
    "  --full             the full encoding, where a method has one\n"
    "  --stream           all calls in order over one stream\n"
    "  --ca FILE          certificates to trust: TLS\n"
    "  --cert FILE, --key FILE, --server-name NAME\n"
    "                     the certificate to show, its key, the name in the service's certificate\n"
    "  --async, --oneway  asynchronous calls, one-way messages\n"
    "  --file FILE        send the lines of this file\n"
    "  --replay FILE      make the calls of a recording again; see below\n"
    "  --keep-going       send what follows a call that failed, too\n"
    "  --dry-run          encode, and send nothing\n"
    "  --output FILE      write the message of a dry run here; several into this folder\n"
    "  --load             send again and again, and print latencies; see below\n"
    "  --platform FILE    the platform to send with, instead of libtarn_grpc.so\n"
    "  --library FILE     the library, instead of libtarn_cli_mqc.so\n"
    "  --help, --version\n"
    "\n"
    "A load sends the requests in turn, round and round, for 10 seconds if not stated otherwise:\n"
    "  --rate N           so many calls a second, whatever the answers do; without, as many as\n"
    "                     possible\n"
    "  --duration TIME    for so long: 30s, 500ms, 2m\n"
    "  --count N          so many calls\n"
    "  --in-flight N      at most so many of them at once (100; with --rate 100000)\n"
    "  --json             print the result as JSON\n"
    "  --html FILE        also write it as a page with plots for a browser\n"
    "\n"
    "A replay makes recorded calls in the order of their requests, as they were made:\n"
    "  --speed N          at the recorded pace, 2: twice as fast; without, as fast as possible\n"
    "  --check            print what differs, in place of the answers: statuses, and the messages\n"
    "                     that the library makes of the requests\n"
    "and of the calls only those that match all of\n"
    "  --method NAME      that method\n"
    "  --status N         that recorded status; none: calls without an end\n"
    "  --failed           a recorded status other than 0\n"
    "  --since TIME, --until TIME\n"
    "                     in UTC: 2026-11-26T05:29:43.5, 2026-11-26; 05:29 on the first call's "
    "day\n"
    "  --where 'FIELD OPERATOR NUMBER'\n"
    "                     a field of the request, f3 or head.f0 or f11[3].f0[1]; ==, !=, <, <=, "
    ">,\n"
    "                     >=; may be repeated\n"
    "\n"
    "It exits with 2 for invalid arguments and requests, of which none is sent; with 1 if a call\n"
    "did not return 0, something differed or the output could not be written.\n";

std::optional<Options> readOptions(int argc, char** argv) {
  Options options;
  Numbers numbers;
  Texts texts;
  if (!parse(argc, argv, numbers, texts, options) || !understand(numbers, texts, options) ||
      !readRest(argc - optind, argv + optind, options) || !hasReplay(options) ||
      !hasPlace(options) || !hasLoad(options)) {
    return std::nullopt;
  }
  return options;
}

}  // namespace send
