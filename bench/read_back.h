#ifndef BENCH_READ_BACK_H
#define BENCH_READ_BACK_H

#include "codec/table_info.h"

namespace bench {

/// Whether what the builder made, read by the FlatBuffers library, holds what the record holds.
bool holds(const codec::TableInfo& table, const u8* encoding, const u8* record);

}  // namespace bench

#endif
