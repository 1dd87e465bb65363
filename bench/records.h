#ifndef BENCH_RECORDS_H
#define BENCH_RECORDS_H

// Records to encode.

#include <array>
#include <memory>
#include <vector>

#include "codec/table_info.h"

namespace bench {

enum class Pattern {
  zero,   ///< every byte; a caller's buffer is absent
  half,   ///< every second scalar is not zero; a caller's buffer has 64 bytes
  all,    ///< no scalar is zero; a caller's buffer has 64 bytes
  mixed,  ///< 64 records, any scalar may be zero; a caller's buffer has up to 128 bytes
};

inline constexpr std::array patterns = {Pattern::zero, Pattern::half, Pattern::all, Pattern::mixed};

const char* nameOf(Pattern pattern);

/// Records of one type, one behind the other; how many is a power of two.
struct Records {
  u32 size;
  u32 count;
  std::vector<u8> bytes;
  std::vector<std::unique_ptr<u8[]>> buffers;  ///< what the records point at
};

/// Equal arguments give equal records.
Records makeRecords(const codec::TableInfo& table, Pattern pattern);

}  // namespace bench

#endif
