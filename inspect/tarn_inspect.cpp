// tarn-inspect: shows captured messages, and refuses anything that is not a whole message.

#include <regex.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <exception>

#include "inspect/forms.h"
#include "inspect/options.h"
#include "shared/output.h"
#include "shared/printable.h"
#include "shared/report.h"

const char* const shared::reporter = "tarn-inspect";

namespace {

using inspect::Message;
using inspect::Options;
using inspect::Task;
using reader::Schema;
using shared::Output;
using shared::report;

constexpr int refused = 1;
constexpr int wrongArguments = 2;

bool refuse(const std::string& name, const std::string& words) {
  report("%s: %s", name.c_str(), words.c_str());
  return false;
}

/// Reads a message; of one that is too long, just enough to detect that.
bool read(const std::string& path, std::vector<std::uint8_t>& bytes) {
  constexpr std::size_t most = reader::maxMessageBytes + 1;
  std::FILE* const file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  std::size_t size = 0;
  do {
    bytes.resize(std::min(most, size + std::max<std::size_t>(size, 4096)));
    size += std::fread(bytes.data() + size, 1, bytes.size() - size, file);
  } while (size == bytes.size() && size < most);
  bytes.resize(size);
  const int error = std::ferror(file) != 0 ? errno : 0;
  if (file != stdin) std::fclose(file);
  errno = error;
  return error == 0;
}

/// What a file's name states.
struct Named {
  std::string method;
  std::string encoding;  ///< empty: unknown
};

/// The C library's: <regex> takes seconds to compile.
regex_t nameForm() {
  regex_t form;
  regcomp(&form, "^[0-9]+-([[:alnum:]_]+)\\.(compact|full)\\.bin$", REG_EXTENDED);
  return form;
}

bool readName(const Options& options, const std::string& path, Named& name) {
  if (!options.method.empty()) {
    name = {options.method, ""};
    return true;
  }
  static const regex_t form = nameForm();
  const std::string file = path.substr(path.rfind('/') + 1);
  regmatch_t parts[3];
  if (file.size() > NAME_MAX || regexec(&form, file.c_str(), 3, parts, 0) != 0) return false;
  const auto part = [&](const regmatch_t& found) {
    return file.substr(static_cast<std::size_t>(found.rm_so),
                       static_cast<std::size_t>(found.rm_eo - found.rm_so));
  };
  name = {part(parts[1]), part(parts[2])};
  return true;
}

/// Reads and checks a message, or reports in a line why it is refused.
bool take(const Schema& schema, const Options& options, const std::string& path, Message& message) {
  message.name = shared::printable(path);
  Named name;
  if (!readName(options, path, name)) {
    return refuse(message.name,
                  "its name is not NUMBER-METHOD.compact.bin or .full.bin, and there "
                  "is no --method");
  }
  message.method = schema.method(name.method);
  if (message.method == nullptr) return refuse(message.name, "no method is called " + name.method);
  if (!read(path, message.bytes)) return refuse(message.name, std::strerror(errno));
  const auto fault = reader::walk(*message.method, message.bytes, message.items);
  if (fault) {
    return refuse(message.name, "damaged, or not a " + message.method->request->name + ": " +
                                    reader::at(fault->position) + ": " + fault->words);
  }
  const char* const encoding = reader::isFull(message.bytes) ? "full" : "compact";
  if (!name.encoding.empty() && name.encoding != encoding) {
    return refuse(message.name, std::string("+00: it is in the ") + encoding + " encoding");
  }
  return true;
}

void show(const Schema& schema, const Options& options, const Message& message, Output& output) {
  const reader::Write write = [&output](std::string_view text) { output.write(text); };
  const bool isJson = options.task == Task::json;
  const bool alone = isJson && options.files.size() == 1;
  if (!alone) write(inspect::title(message) + '\n');
  if (isJson)
    schema.json(*message.method, message.bytes, write);
  else
    inspect::annotate(message, write);
  if (!alone) write("\n");
}

int inspectAll(const Schema& schema, const Options& options) {
  Output output(options.output);
  const bool isPage = options.task == Task::html;
  std::size_t taken = 0;
  for (const std::string& path : options.files) {
    Message message;
    if (!take(schema, options, path, message)) continue;
    ++taken;
    if (isPage && taken == 1) output.write(inspect::pageStart());
    if (isPage)
      output.write(inspect::section(message, taken));
    else
      show(schema, options, message, output);
  }
  if (isPage && taken > 0) output.write(inspect::pageEnd());
  return output.close() && taken == options.files.size() ? 0 : refused;
}

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

}  // namespace

int main(int argc, char** argv) try {
  shared::holdStandardDescriptors();
  const auto options = inspect::readOptions(argc, argv);
  if (!options) return wrongArguments;
  if (options->task == Task::help) return print(inspect::usage);
  if (options->task == Task::version) return print("tarn-inspect " TARN_VERSION "\n");
  Schema schema(2);
  const std::string fault = schema.load();
  if (!fault.empty()) {
    report("%s", fault.c_str());
    return refused;
  }
  if (options->task == Task::methods) return listMethods(schema);
  if (!options->method.empty() && schema.method(options->method) == nullptr) {
    report("--method %s: no such method; --methods lists them", options->method.c_str());
    return wrongArguments;
  }
  return inspectAll(schema, *options);
} catch (const std::exception& error) {  // no memory
  report("%s", error.what());
  return refused;
}
