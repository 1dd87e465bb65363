/**
 * @file log.h
 * @brief The platform's log function. A process may lack it: it is looked up by name.
 */
#ifndef TARN_LOG_H
#define TARN_LOG_H

#include "mqc_fes_intf.h"

/** Version of this header: major * 10000 + minor * 100 + patch. */
#define TARN_LOG_VERSION 10100

#ifdef __cplusplus
extern "C" {
#endif

/** The log function's name in the process's global symbol scope. */
#define KVR_OSAL_LOG_WRITE "KVR_OsalLogWrite"

/**
 * Writes one log record.
 *
 * @param module   the logging module
 * @param level    severity, in the platform's numbers
 * @param code     error number
 * @param text     free text; the encoders pass an empty one
 * @param line     source line
 * @param function function name
 * @param format   printf format of the message; its arguments follow
 * @return defined by the platform; ignored by the encoders
 *
 * The platforms made here write the record to stderr as one line of at most 8 KiB and return 0. A
 * NULL pointer counts as an empty text, and control characters are escaped.
 */
typedef u32 (*KvrOsalLogWriteFn)(const LogModule* module, u32 level, u32 code, const char* text,
                                 u32 line, const char* function, const char* format, ...);

#ifdef __cplusplus
}
#endif

#endif
