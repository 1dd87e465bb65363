// tarn-send: sends requests of MqcFesIntf from the shell, through whichever platform it loads.

#include <exception>
#include <memory>
#include <utility>

#include "send/dry_run.h"
#include "send/listing.h"
#include "send/loading.h"
#include "send/options.h"
#include "send/replay.h"
#include "send/sending.h"
#include "send/watch.h"
#include "shared/output.h"
#include "shared/printable.h"
#include "shared/report.h"

const char* const shared::reporter = "tarn-send";

namespace {

using send::Entry;
using send::Options;
using send::Requests;
using send::Task;
using shared::report;

constexpr int failed = 1;
constexpr int wrongArguments = 2;

int print(const std::string& text) {
  shared::Output output("");
  output.write(text);
  return output.close() ? 0 : failed;
}

/// Reports a fault, if there is one. A name in it may have zero bytes.
bool isSound(const std::string& fault) {
  if (!fault.empty()) report("%s", shared::printable(fault).c_str());
  return fault.empty();
}

std::string nameOfInput(const Options& options) {
  if (!options.replay.files.empty()) return options.replay.files[0];
  return options.file == "-" ? "stdin" : options.file;
}

/// Reads the request of the command line, or lines.
std::string readEntries(const Options& options, std::vector<Entry>& entries) {
  if (options.file.empty()) {
    entries.push_back({nullptr, {}, options.variant, 0, {}});
    return send::readOne(*options.method, options.words, entries.back());
  }
  std::string text;
  std::string fault = send::readText(options.file, text);
  if (!fault.empty()) return fault;
  return send::readLines(text, nameOfInput(options), options.variant, entries);
}

/// The requests that can be sent, of which those that cannot have been reported; nullptr where none
/// should be.
std::unique_ptr<Requests> readRequests(const Options& options, bool& areSound) {
  if (!options.replay.files.empty()) {
    return send::readReplay(options.replay, options.keepGoing, areSound);
  }
  std::vector<Entry> entries;
  areSound = isSound(readEntries(options, entries));
  return areSound ? std::make_unique<send::ReadRequests>(std::move(entries)) : nullptr;
}

/// Whether there is something to do.
bool isEnough(const Options& options, const Requests& requests) {
  const bool mayBeEmpty = options.replay.files.empty() && options.task != Task::load;
  if (mayBeEmpty || requests.size() > 0) return true;
  report("%s: no request to send", nameOfInput(options).c_str());
  return false;
}

/// Does with the requests what the options ask for.
bool handle(const send::Library& library, const Options& options, Requests& requests) {
  if (options.task == Task::dryRun) return send::encodeAll(library, options, requests);
  if (options.task == Task::load) return send::runLoad(library, requests, options.load);
  return send::sendAll(library, options, requests);
}

int run(const Options& options) {
  // Never destroyed, as callbacks may run while the process ends.
  static auto& library = *new send::Library;
  bool areSound = false;
  const std::unique_ptr<Requests> requests = readRequests(options, areSound);
  if (requests == nullptr || !isEnough(options, *requests)) return wrongArguments;
  if (options.task == Task::load) send::holdSignals();  // before the platform may start threads
  if (!isSound(library.load(options.platform, options.library))) return failed;
  if (options.task != Task::dryRun && !isSound(library.set(options.channel))) return wrongArguments;
  return handle(library, options, *requests) && areSound ? 0 : failed;
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
