/**
 * @file status.h
 * @brief The statuses that this project's platforms share.
 */
#ifndef TARN_STATUS_H
#define TARN_STATUS_H

/** Version of this header: major * 10000 + minor * 100 + patch. */
#define TARN_STATUS_VERSION 10100

#ifdef __cplusplus
extern "C" {
#endif

/** A platform's own statuses. A call that returns one of these errors delivered nothing. */
typedef enum TarnStatus {
  TARN_STATUS_OK = 0,
  TARN_STATUS_CAPTURE = 5,       /**< The capture directory or the recording cannot be written. */
  TARN_STATUS_SCRIPT = 8,        /**< The script cannot be used, or what it expects did not come. */
  TARN_STATUS_NO_RESOURCES = 12, /**< No memory, or no thread for completions. */
  TARN_STATUS_INVALID = 22,      /**< No handle, no request, or another argument is missing. */
  TARN_STATUS_DEADLOCK = 35,     /**< The wait for completions would never end. */
  TARN_STATUS_ENCODING = 74      /**< An encoder broke its contract. */
} TarnStatus;

#ifdef __cplusplus
}
#endif

#endif
