// tarn-inspect: shows captured messages, and refuses anything that is not a whole message; shows
// recordings of calls.

#include <exception>
#include <memory>

#include "inspect/calls.h"
#include "inspect/messages.h"
#include "inspect/refuse.h"
#include "shared/report.h"

const char* const shared::reporter = "tarn-inspect";

namespace {

using inspect::Input;
using inspect::Options;
using inspect::refused;
using inspect::Task;
using inspect::wrongArguments;
using reader::Schema;
using shared::Output;
using shared::report;

int print(const std::string& text) {
  Output output("");
  output.write(text);
  return output.close() ? 0 : refused;
}

int listMethods(const Schema& schema) {
  std::string text;
  for (const Schema::Method* method : schema.methods()) {
    text += method->name + ' ' + method->request->name + '\n';
  }
  return print(text);
}

/// The first file that can be opened, reports on those before it; its index, or their number.
std::unique_ptr<Input> openFirst(const Options& options, std::size_t& index) {
  for (index = 0; index < options.files.size(); ++index) {
    auto input = std::make_unique<Input>(options.files[index]);
    const std::string why = input->open();
    if (why.empty()) return input;
    report("%s: %s", input->path().c_str(), why.c_str());
  }
  return nullptr;
}

int inspectAll(const Options& options) {
  std::size_t from = 0;
  std::unique_ptr<Input> first;
  if (options.task != Task::methods) {
    first = openFirst(options, from);
    if (first == nullptr) return refused;
  }
  const bool isRecording = first != nullptr && first->isRecording();
  Schema schema(isRecording ? -1 : 2);
  const std::string fault = schema.load();
  if (!fault.empty()) {
    report("%s", fault.c_str());
    return refused;
  }
  if (first == nullptr) return listMethods(schema);
  if (!options.method.empty() && schema.method(options.method) == nullptr) {
    report("--method %s: no such method; --methods lists them", options.method.c_str());
    return wrongArguments;
  }
  return isRecording ? showCalls(schema, options, *first, from)
                     : showMessages(schema, options, *first, from);
}

}  // namespace

int main(int argc, char** argv) try {
  shared::holdStandardDescriptors();
  const auto options = inspect::readOptions(argc, argv);
  if (!options) return wrongArguments;
  if (options->task == Task::help) return print(inspect::usage);
  if (options->task == Task::version) return print("tarn-inspect " TARN_VERSION "\n");
  return inspectAll(*options);
} catch (const std::exception& error) {  // no memory
  report("%s", error.what());
  return refused;
}
