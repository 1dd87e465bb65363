// Reads any bytes as the command line of tarn-inspect or tarn-serve, by the first byte; arguments
// end with a zero. A refusal is reported in one line that is fit for a terminal, and accepted
// options are complete.

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "fuzz.h"
#include "inspect/options.h"
#include "service/options.h"
#include "shared/printable.h"
#include "shared/report.h"

namespace {

int reports = 0;

void checkInspect(int argc, char** argv) {
  const auto options = inspect::readOptions(argc, argv);
  require(reports == (options ? 0 : 1), "tarn-inspect: not one line for invalid arguments");
  if (!options || options->task > inspect::Task::diff) return;
  const auto inputs = std::count(options->files.begin(), options->files.end(), "-");
  require(!options->files.empty() && inputs <= 1, "tarn-inspect: nothing to do");
}

void checkService(int argc, char** argv) {
  static reader::Schema schema(-1);
  static const bool isLoaded = schema.load(SCHEMAS).empty();
  const auto options = service::readOptions(argc, argv, schema);
  require(isLoaded && reports == (options ? 0 : 1), "tarn-serve: not one line");
  if (!options || options->help || options->version) return;
  require(!options->listen.empty() && options->cert.empty() == options->key.empty() &&
              (options->ca.empty() || !options->cert.empty()),
          "tarn-serve: not enough to serve with");
}

}  // namespace

void shared::report(const char* format, ...) noexcept {
  char text[8192];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const std::string line = printable(text);
  const auto isControl = [](unsigned char c) { return c < ' ' || c == 0x7F; };
  require(std::none_of(line.begin(), line.end(), isControl) && printable(line) == line,
          "not fit for a terminal");
  ++reports;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string text(data + 1, data + size);
  std::vector<char*> argv;
  for (char* at = text.data(); at < text.data() + text.size(); at += std::strlen(at) + 1) {
    argv.push_back(at);
  }
  if (argv.empty()) return 0;
  argv.push_back(nullptr);
  reports = optind = 0;  // getopt begins anew
  (data[0] % 2 == 0 ? checkInspect : checkService)(static_cast<int>(argv.size()) - 1, argv.data());
  return 0;
}
