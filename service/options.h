#ifndef SERVICE_OPTIONS_H
#define SERVICE_OPTIONS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "reader/schema.h"
#include "shared/start_recording.h"

namespace service {

/// The command line, read.
struct Options {
  std::string listen;
  bool json = false;
  std::uint32_t status = 0;
  std::map<std::string, std::uint32_t> statusOf;  ///< by method, before status
  std::string capture;
  std::string record;
  std::uint32_t recordMegabytes = shared::usualMegabytes;
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
