#ifndef SHARED_START_RECORDING_H
#define SHARED_START_RECORDING_H

#include "shared/recording.h"

namespace shared {

/// The most megabytes of a recording's files, where nothing else is said, and the most that can be.
inline constexpr u32 usualMegabytes = 64;
inline constexpr u32 mostMegabytes = 1'048'576;

/**
 * Sets a recording up, and reports what would keep its files, made at the first call, from being
 * made: a folder that is not there or not to be written to, or another kind of file in the way.
 *
 * @param megabytes the most of all its files, of 1,048,576 bytes each
 * @return false after a report: the recording is not to be used
 */
bool startRecording(Recording& recording, const char* path, u32 megabytes) noexcept;

}  // namespace shared

#endif
