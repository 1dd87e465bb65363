#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "recorder.h"
#include "tarn/log.h"

extern "C" __attribute__((format(printf, 7, 8))) u32 KVR_OsalLogWrite(const LogModule* module,
                                                                      u32 level, u32 code,
                                                                      const char* text, u32 line,
                                                                      const char* function,
                                                                      const char* format, ...) {
  static std::mutex mutex;
  char message[200];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  const auto number = [](u32 value) { return std::to_string(value) + ' '; };
  const std::string who = std::string(module->module) + ' ' + module->subModule + ' ';
  const std::lock_guard lock(mutex);
  recorder::platform.logged.push_back(who + number(module->number) + number(level) + number(code) +
                                      "'" + text + "' " + function + ':' + number(line) + message);
  return 1;
}
