#ifndef SERVICE_OPTIONS_H
#define SERVICE_OPTIONS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "reader/schema.h"
#include "shared/start_recording.h"

namespace service {

/// A number for each method.
struct ByMethod {
  std::uint32_t others = 0;  ///< of methods without one of their own
  std::map<std::string, std::uint32_t> own;

  std::uint32_t at(const std::string& method) const;
};

/// The command line, read.
struct Options {
  std::string listen;
  bool json = false;
  ByMethod status;
  ByMethod delay;  ///< in milliseconds
  std::string script;
  std::string capture;
  std::string record;
  std::uint32_t recordMegabytes = shared::usualMegabytes;
  std::string page;  ///< HOST:PORT; empty: none
  std::string cert, key, ca;

  bool help = false;
  bool version = false;
};

/// Reads the command line. Invalid arguments are reported in one line on stderr; the result is then
/// empty.
std::optional<Options> readOptions(int argc, char** argv, const reader::Schema& schema);

extern const char* const usage;

}  // namespace service

#endif
