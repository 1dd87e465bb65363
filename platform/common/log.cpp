#include "tarn/log.h"

#include <cstdarg>
#include <type_traits>

#include "shared/report.h"

namespace {

const char* orElse(const char* text, const char* otherwise) {
  return text != nullptr ? text : otherwise;
}

}  // namespace

extern "C" u32 KVR_OsalLogWrite(const LogModule* module, u32 level, u32 code, const char* text,
                                u32 line, const char* function, const char* format, ...) {
  const LogModule who = module != nullptr ? *module : LogModule{};
  shared::Line record;
  record.add("%s/%s level %u code %u %s:%u %s", orElse(who.module, "-"), orElse(who.subModule, "-"),
             level, code, orElse(function, "-"), line, orElse(text, ""));
  va_list arguments;
  va_start(arguments, format);
  record.addList(orElse(format, ""), arguments);
  va_end(arguments);
  record.write();
  return 0;
}

static_assert(std::is_same_v<decltype(&KVR_OsalLogWrite), KvrOsalLogWriteFn>,
              "callers look the function up by name and call it with this signature");
