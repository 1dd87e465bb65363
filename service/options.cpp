#include "service/options.h"

#include "service/loopback_address.h"
#include "service/number.h"
#include "shared/arguments.h"
#include "shared/report.h"

namespace service {
namespace {

using shared::report;

/// In milliseconds.
constexpr std::uint32_t longestDelay = 3'600'000;

/// An option with a number for all methods, or METHOD=NUMBER.
struct MethodOption {
  const char* name;
  std::uint32_t most;
  const char* range;
};

constexpr MethodOption statusOption = {"status", UINT32_MAX, "32-bit number"};
constexpr MethodOption delayOption = {"delay", longestDelay, "number from 0 to 3600000"};

bool readByMethod(const MethodOption& option, const std::string& text, const reader::Schema& schema,
                  ByMethod& numbers) {
  const std::size_t equals = text.find('=');
  const bool forAll = equals == std::string::npos;
  const std::string method = forAll ? "" : text.substr(0, equals);
  std::uint32_t number = 0;
  if (!readNumber(forAll ? text : text.substr(equals + 1), number) || number > option.most) {
    report("--%s %s: not a %s", option.name, text.c_str(), option.range);
    return false;
  }
  (forAll ? numbers.others : numbers.own[method]) = number;
  if (forAll || schema.method(method) != nullptr) return true;
  report("--%s %s: no method is called %s", option.name, text.c_str(), method.c_str());
  return false;
}

bool readMegabytes(const std::string& text, Options& options) {
  if (readNumber(text, options.recordMegabytes) && options.recordMegabytes > 0 &&
      options.recordMegabytes <= shared::mostMegabytes) {
    return true;
  }
  report("--record-mb %s: not a number from 1 to %u", text.c_str(), shared::mostMegabytes);
  return false;
}

bool checkListen(const Options& options) {
  const std::string& listen = options.listen;
  if (listen.rfind("unix:", 0) == 0 && listen.size() > 5) return true;
  const auto address = readHostAndPort(listen);
  if (!address) {
    report("--listen %s: neither unix:PATH nor HOST:PORT", listen.c_str());
    return false;
  }
  // Callers on other machines need a certificate.
  if (isLoopback(address->host) || !options.ca.empty()) return true;
  report("--listen %s: not a loopback address: that requires --cert, --key and --ca",
         listen.c_str());
  return false;
}

bool checkPage(const std::string& page) {
  const auto address = readHostAndPort(page);
  if (page.empty() || (address && isLoopback(address->host))) return true;
  report("--page %s: not HOST:PORT of a loopback address", page.c_str());
  return false;
}

bool checkTogether(const Options& options) {
  if (options.help || options.version) return true;
  if (options.listen.empty()) {
    report("--listen is missing; see --help");
    return false;
  }
  if (options.cert.empty() != options.key.empty() ||
      (options.cert.empty() && !options.ca.empty())) {
    report("--cert and --key require each other, and --ca both");
    return false;
  }
  return checkListen(options) && checkPage(options.page);
}

bool readOption(int option, const reader::Schema& schema, Options& options) {
  switch (option) {
    case 'l':
      options.listen = optarg;
      return true;
    case 'j':
      options.json = true;
      return true;
    case 's':
      return readByMethod(statusOption, optarg, schema, options.status);
    case 't':
      return readByMethod(delayOption, optarg, schema, options.delay);
    case 'p':
      options.script = optarg;
      return true;
    case 'd':
      options.capture = optarg;
      return true;
    case 'r':
      options.record = optarg;
      return true;
    case 'm':
      return readMegabytes(optarg, options);
    case 'w':
      options.page = optarg;
      return true;
    case 'c':
      options.cert = optarg;
      return true;
    case 'k':
      options.key = optarg;
      return true;
    case 'a':
      options.ca = optarg;
      return true;
    case 'h':
      options.help = true;
      return true;
    case 'v':
      options.version = true;
      return true;
    default:
      return false;
  }
}

}  // namespace

std::uint32_t ByMethod::at(const std::string& method) const {
  const auto found = own.find(method);
  return found != own.end() ? found->second : others;
}

const char* const usage =
    "usage: tarn-serve --listen ADDRESS [OPTION]...\n"
    "Serves MqcFesIntf over gRPC: answers every request and prints a line for it.\n"
    "\n"
    "  --listen ADDRESS     unix:PATH, or HOST:PORT of a loopback address; of any address with "
    "--ca;\n"
    "                       port 0 selects a free one\n"
    "  --json               also print the requests themselves, up to 64 KiB each\n"
    "  --status N           answer every request with the status N (0)\n"
    "  --status METHOD=N    answer the requests of this method with N; may be repeated\n"
    "  --delay MS           answer so many milliseconds late (0), up to 3600000\n"
    "  --delay METHOD=MS    the requests of this method; may be repeated\n"
    "  --script FILE        answer by the rules in this file, JSON, where one fits\n"
    "  --capture DIR        keep every answered request as a file here, for tarn-inspect\n"
    "  --record FILE        record every request and its status in this file, for Wireshark\n"
    "  --record-mb N        the most megabytes of the recording (64); its oldest part is dropped\n"
    "  --page ADDRESS       show the calls on a page for browsers, at HOST:PORT of a loopback "
    "address\n"
    "  --cert FILE          TLS: the service's certificate, PEM,\n"
    "  --key FILE           and its private key, PEM\n"
    "  --ca FILE            accept only clients with a certificate signed by this one, PEM\n"
    "  --help, --version\n"
    "\n"
    "A line shows time, method, bytes, encoding and the caller's sequence number. SIGINT or\n"
    "SIGTERM ends the service and prints totals, and what the script expected and what came;\n"
    "SIGHUP prints them. Replaced certificate files are used for new connections. It exits with 2\n"
    "for invalid arguments or a script with a fault, with 1 if it could not serve or lost lines\n"
    "of output, with 3 if other requests came than the script expects.\n";

std::optional<Options> readOptions(int argc, char** argv, const reader::Schema& schema) {
  static const option known[] = {{"listen", required_argument, nullptr, 'l'},
                                 {"json", no_argument, nullptr, 'j'},
                                 {"status", required_argument, nullptr, 's'},
                                 {"delay", required_argument, nullptr, 't'},
                                 {"script", required_argument, nullptr, 'p'},
                                 {"capture", required_argument, nullptr, 'd'},
                                 {"record", required_argument, nullptr, 'r'},
                                 {"record-mb", required_argument, nullptr, 'm'},
                                 {"page", required_argument, nullptr, 'w'},
                                 {"cert", required_argument, nullptr, 'c'},
                                 {"key", required_argument, nullptr, 'k'},
                                 {"ca", required_argument, nullptr, 'a'},
                                 {"help", no_argument, nullptr, 'h'},
                                 {"version", no_argument, nullptr, 'v'},
                                 {}};
  Options options;
  for (int found = 0; (found = shared::nextOption(argc, argv, known)) != -1;) {
    if (!readOption(found, schema, options)) return std::nullopt;
  }
  if (optind < argc) {
    report("%s: unexpected argument; see --help", argv[optind]);
    return std::nullopt;
  }
  if (!checkTogether(options)) return std::nullopt;
  return options;
}

}  // namespace service
