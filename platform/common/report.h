#ifndef PLATFORM_REPORT_H
#define PLATFORM_REPORT_H

#include <cstdarg>
#include <string>

namespace platform {

/// printf into a string.
std::string formatted(const char* format, va_list arguments);

/// Writes text, made printable, and a line end to stderr, in one write so that threads do not
/// interleave.
void writeLine(const std::string& text);

/// Who reports: every library and program made with this code defines its own name.
extern const char* const reporter;

/// Tells the person at the workstation of a failure, as one line on stderr.
[[gnu::format(printf, 1, 2)]] void report(const char* format, ...);

}  // namespace platform

#endif
