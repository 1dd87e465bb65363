#include "platform/log.h"

#include <cstdarg>
#include <string>
#include <type_traits>

#include "platform/common/report.h"

namespace {

std::string orNone(const char* text) {
  return text != nullptr ? text : "-";
}

}  // namespace

extern "C" u32 KVR_OsalLogWrite(const LogModule* module, u32 level, u32 code, const char* text,
                                u32 line, const char* function, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string message = platform::formatted(format, arguments);
  va_end(arguments);
  const LogModule who = module != nullptr ? *module : LogModule{};
  platform::writeLine(orNone(who.module) + '/' + orNone(who.subModule) + " level " +
                      std::to_string(level) + " code " + std::to_string(code) + ' ' +
                      orNone(function) + ':' + std::to_string(line) + ' ' +
                      (text != nullptr ? text : "") + message);
  return 0;
}

static_assert(std::is_same_v<decltype(&KVR_OsalLogWrite), KvrOsalLogWriteFn>,
              "callers look the function up by name and call it with this signature");
