/**
 * @file bounded_memory.h
 * @brief The platform's bounds-checked memory functions, with the contract of C11 Annex K.
 */
#ifndef TARN_BOUNDED_MEMORY_H
#define TARN_BOUNDED_MEMORY_H

#include <stddef.h>

/** Version of this header: major * 10000 + minor * 100 + patch. */
#define TARN_BOUNDED_MEMORY_VERSION 10100

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sets count bytes at dest to value.
 *
 * @param dest  the bytes to set, not NULL
 * @param max   capacity of dest in bytes
 * @param value converted to unsigned char
 * @param count bytes to set, at most max
 * @return 0; on a violation not 0, with all max bytes at dest set where dest and max are valid
 */
int memset_s(void* dest, size_t max, int value, size_t count);

/**
 * Copies count bytes from src to dest, which must not overlap.
 *
 * @param dest  the destination, not NULL
 * @param max   capacity of dest in bytes
 * @param src   the source, not NULL
 * @param count bytes to copy, at most max
 * @return 0; on a violation not 0, with all max bytes at dest cleared where dest and max are valid
 */
int memcpy_s(void* dest, size_t max, const void* src, size_t count);

#ifdef __cplusplus
}
#endif

#endif
