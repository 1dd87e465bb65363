// tarn-inspect: shows captured messages to people, and refuses what is no message.

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <random>
#include <regex>

#include "inspect/forms.h"
#include "inspect/options.h"
#include "platform/common/report.h"

const char* const platform::reporter = "tarn-inspect";

namespace {

namespace fs = std::filesystem;
using inspect::Message;
using inspect::Options;
using inspect::Schema;
using inspect::Task;
using platform::report;

constexpr int refused = 1;
constexpr int wrongArguments = 2;

/// Where everything is written: stdout at once, a file at the end and whole, for it may be one of
/// the inputs.
class Output {
 public:
  explicit Output(std::string path) : path_(std::move(path)) {}

  void write(const std::string& text) {
    if (path_.empty())
      put(text, stdout);
    else
      held_ += text;
  }
  /// Tells when not everything could be written.
  bool close() {
    std::FILE* const file = path_.empty() ? stdout : held_.empty() ? nullptr : open();
    if (file != nullptr) {
      put(held_, file);
      if (std::fclose(file) != 0 && error_ == 0) error_ = errno;
    }
    if (!part_.empty()) settle();
    if (error_ != 0)
      report("%s: %s", path_.empty() ? "stdout" : path_.c_str(), std::strerror(error_));
    return error_ == 0;
  }

 private:
  std::FILE* open() {
    std::error_code unknown;
    const fs::path linked = fs::canonical(path_, unknown);
    if (!unknown) path_ = linked;
    // A pipe or a device stays what it is.
    const bool isOther = fs::is_other(fs::status(path_, unknown));
    if (!isOther) part_ = path_ + '.' + std::to_string(std::random_device{}()) + ".part";
    std::FILE* const file =
        isOther ? std::fopen(path_.c_str(), "w") : std::fopen(part_.c_str(), "wx");
    if (file == nullptr) {
      error_ = errno;
      part_.clear();
    }
    return file;
  }
  /// Gives what was written its name, or takes it back.
  void settle() {
    if (error_ == 0 && std::rename(part_.c_str(), path_.c_str()) != 0) error_ = errno;
    if (error_ != 0) std::remove(part_.c_str());
  }
  void put(const std::string& text, std::FILE* file) {
    if (std::fwrite(text.data(), 1, text.size(), file) < text.size() && error_ == 0) error_ = errno;
  }

  std::string path_;
  std::string part_;
  std::string held_;
  int error_ = 0;
};

/// Control characters would make two lines of one.
std::string printable(std::string name) {
  for (char& c : name) {
    if (static_cast<unsigned char>(c) < ' ') c = '?';
  }
  return name;
}

bool refuse(const std::string& name, const std::string& words) {
  report("%s: %s", name.c_str(), words.c_str());
  return false;
}

bool read(const std::string& path, std::vector<std::uint8_t>& bytes) {
  std::FILE* const file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  std::size_t size = 0;
  do {
    bytes.resize(size + std::max<std::size_t>(size, 4096));
    size += std::fread(bytes.data() + size, 1, bytes.size() - size, file);
  } while (size == bytes.size() && size < FLATBUFFERS_MAX_BUFFER_SIZE);
  bytes.resize(size);
  const int error = std::ferror(file) != 0 ? errno : 0;
  if (file != stdin) std::fclose(file);
  errno = error;
  return error == 0;
}

/// What a file's name tells.
struct Told {
  std::string method;
  std::string encoding;  ///< empty: not told
};

bool told(const Options& options, const std::string& path, Told& told) {
  if (!options.method.empty()) {
    told = {options.method, ""};
    return true;
  }
  static const std::regex form(R"([0-9]+-(\w+)\.(compact|full)\.bin)");
  const std::string name = path.substr(path.rfind('/') + 1);
  std::smatch parts;
  if (name.size() > NAME_MAX || !std::regex_match(name, parts, form)) return false;
  told = {parts[1], parts[2]};
  return true;
}

/// Reads and checks a message, or says in a line why it is refused.
bool take(const Schema& schema, const Options& options, const std::string& path, Message& message) {
  message.name = printable(path);
  Told name;
  if (!told(options, path, name)) {
    return refuse(message.name,
                  "its name is not NUMBER-METHOD.compact.bin or .full.bin, and there "
                  "is no --method");
  }
  message.method = schema.method(name.method);
  if (message.method == nullptr) return refuse(message.name, "no method is called " + name.method);
  if (!read(path, message.bytes)) return refuse(message.name, std::strerror(errno));
  const auto fault = inspect::walk(*message.method, message.bytes, message.items);
  if (fault) {
    return refuse(message.name, "damaged, or not a " + message.method->request->name + ": " +
                                    inspect::at(fault->position) + ": " + fault->words);
  }
  const char* const encoding = inspect::isFull(message.bytes) ? "full" : "compact";
  if (!name.encoding.empty() && name.encoding != encoding) {
    return refuse(message.name, std::string("+00: it is in the ") + encoding + " encoding");
  }
  return true;
}

std::string shown(const Schema& schema, const Options& options, const Message& message) {
  const bool isJson = options.task == Task::json;
  std::string text = isJson ? inspect::json(schema, message) : inspect::annotated(message);
  if (isJson && options.files.size() == 1) return text;
  return inspect::title(message) + '\n' + text + '\n';
}

int inspectAll(const Schema& schema, const Options& options) {
  Output output(options.output);
  std::size_t taken = 0;
  std::string sections;
  for (const std::string& path : options.files) {
    Message message;
    if (!take(schema, options, path, message)) continue;
    ++taken;
    if (options.task != Task::html)
      output.write(shown(schema, options, message));
    else
      sections += inspect::section(message, taken);
  }
  if (!sections.empty()) output.write(inspect::page(sections));
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
