#include "inspect/messages.h"

#include <regex.h>

#include <algorithm>
#include <climits>
#include <memory>

#include "inspect/annotate.h"
#include "inspect/page.h"
#include "inspect/refuse.h"
#include "page/section.h"
#include "shared/output.h"
#include "shared/printable.h"
#include "shared/report.h"

namespace inspect {
namespace {

using shared::Output;
using shared::report;

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
bool take(const Schema& schema, const Options& options, Input& input, Message& message) {
  message.name = shared::printable(input.path());
  if (input.isRecording()) return refuse(message.name, "a recording, beside messages");
  Named name;
  if (!readName(options, input.path(), name)) {
    return refuse(message.name,
                  "its name is not NUMBER-METHOD.compact.bin or .full.bin, and there "
                  "is no --method");
  }
  message.method = schema.method(name.method);
  if (message.method == nullptr) return refuse(message.name, "no method is called " + name.method);
  const std::string why = input.readMessage(message.bytes);
  if (!why.empty()) return refuse(message.name, why);
  const auto fault = reader::walk(*message.method, message.bytes, message.items);
  if (fault) return refuse(message.name, damage(message, *fault));
  const char* const encoding = reader::isFull(message.bytes) ? "full" : "compact";
  if (!name.encoding.empty() && name.encoding != encoding) {
    return refuse(message.name, std::string("+00: it is in the ") + encoding + " encoding");
  }
  return true;
}

bool openAndTake(const Schema& schema, const Options& options, const std::string& path,
                 Message& message) {
  Input input(path);
  const std::string why = input.open();
  if (!why.empty()) return refuse(shared::printable(path), why);
  return take(schema, options, input, message);
}

void show(const Schema& schema, const Options& options, const Message& message, Output& output) {
  const reader::Write write = [&output](std::string_view text) { output.write(text); };
  const bool isAnnotated = options.task == Task::annotated;
  const bool alone = !isAnnotated && options.files.size() == 1;
  if (!alone) write(title(message) + '\n');
  if (isAnnotated)
    annotate(message, write);
  else
    schema.json(*message.method, message.bytes, write);
  if (!alone) write("\n");
}

/// Whether the options are those of messages.
bool areFitting(const Options& options) {
  const bool isUnknown =
      options.method.empty() && std::count(options.files.begin(), options.files.end(), "-") > 0;
  if (options.task == Task::stats || options.task == Task::diff || options.choice.isMade()) {
    report("%s: no recording, which some of the options need", options.files[0].c_str());
  } else if (isUnknown) {
    report("-: unknown method; use --method NAME");
  } else {
    return true;
  }
  return false;
}

}  // namespace

int showMessages(const Schema& schema, const Options& options, Input& first, std::size_t from) {
  if (!areFitting(options)) return wrongArguments;
  Output output(options.output);
  const bool isPage = options.task == Task::html;
  std::size_t taken = 0;
  for (std::size_t i = from; i < options.files.size(); ++i) {
    Message message;
    const bool isTaken = i == from ? take(schema, options, first, message)
                                   : openAndTake(schema, options, options.files[i], message);
    if (!isTaken) continue;
    ++taken;
    if (isPage && taken == 1) output.write(page::start(pageTemplate));
    if (isPage)
      output.write(section(message, taken));
    else
      show(schema, options, message, output);
  }
  if (isPage && taken > 0) output.write(page::end(pageTemplate));
  return output.close() && taken == options.files.size() ? 0 : refused;
}

}  // namespace inspect
