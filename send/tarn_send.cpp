// tarn-send: sends requests of MqcFesIntf from the shell, through whichever platform it loads.

#include <exception>

#include "send/dry_run.h"
#include "send/listing.h"
#include "send/loading.h"
#include "send/options.h"
#include "send/replay.h"
#include "send/sending.h"
#include "send/watch.h"
#include "shared/output.h"
#include "shared/report.h"

const char* const shared::reporter = "tarn-send";

namespace {

using send::Entry;
using send::Options;
using send::Task;
using shared::report;

constexpr int failed = 1;
constexpr int wrongArguments = 2;

int print(const std::string& text) {
  shared::Output output("");
  output.write(text);
  return output.close() ? 0 : failed;
}

/// Reports a fault, if there is one.
bool isSound(const std::string& fault) {
  if (!fault.empty()) report("%s", fault.c_str());
  return fault.empty();
}

std::string nameOfInput(const Options& options) {
  if (!options.replay.files.empty()) return options.replay.files[0];
  return options.file == "-" ? "stdin" : options.file;
}

std::string readRequests(const Options& options, std::vector<Entry>& entries) {
  if (options.file.empty()) {
    entries.push_back({nullptr, {}, options.variant, 0, {}});
    return send::readOne(*options.method, options.words, entries.back());
  }
  std::string text;
  std::string fault = send::readText(options.file, text);
  if (!fault.empty()) return fault;
  return send::readLines(text, nameOfInput(options), options.variant, entries);
}

/// Returns whether all requests are sound; which are not has been reported.
bool readEntries(const Options& options, std::vector<Entry>& entries) {
  const bool isReplay = !options.replay.files.empty();
  const bool areSound = isReplay ? send::readReplay(options.replay, options.keepGoing, entries)
                                 : isSound(readRequests(options, entries));
  const bool mayBeEmpty = !isReplay && options.task != Task::load;
  if (!areSound || mayBeEmpty || !entries.empty()) return areSound;
  report("%s: no request to send", nameOfInput(options).c_str());
  return false;
}

/// Does with the requests what the options ask for.
bool handle(const send::Library& library, const Options& options,
            const std::vector<Entry>& entries) {
  if (options.task == Task::dryRun) return send::encodeAll(library, options, entries);
  if (options.task == Task::load) return send::runLoad(library, entries, options.load);
  return send::sendAll(library, options, entries);
}

int run(const Options& options) {
  // Never destroyed, as callbacks may run while the process ends.
  static auto& entries = *new std::vector<Entry>;
  static auto& library = *new send::Library;
  const bool areSound = readEntries(options, entries);
  const bool mayGoOn = options.keepGoing && !options.replay.files.empty() && !entries.empty();
  if (!areSound && !mayGoOn) return wrongArguments;
  if (options.task == Task::load) send::holdSignals();  // before the platform may start threads
  if (!isSound(library.load(options.platform, options.library))) return failed;
  if (options.task != Task::dryRun && !isSound(library.set(options.channel))) return wrongArguments;
  return handle(library, options, entries) && areSound ? 0 : failed;
}

}  // namespace

int main(int argc, char** argv) try {
  shared::holdStandardDescriptors();
  const auto options = send::readOptions(argc, argv);
  if (!options) return wrongArguments;
  switch (options->task) {
    case Task::help:
      return print(send::usage);
    case Task::version:
      return print("tarn-send " TARN_VERSION "\n");
    case Task::methods:
      return print(send::listMethods());
    case Task::fields:
      return print(send::fieldsOf(*options->method));
    case Task::sample:
      return print(send::sampleOf(*options->method));
    default:
      return run(*options);
  }
} catch (const std::exception& error) {  // no memory
  report("%s", error.what());
  return failed;
}
