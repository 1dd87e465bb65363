#ifndef BENCH_MESSAGES_H
#define BENCH_MESSAGES_H

// All request types: how to fill a record, and its encoders.

#include <flatbuffers/flatbuffers.h>

#include <vector>

#include "methods/methods.h"

namespace bench {

struct Message {
  const methods::Table* table;
  u32 fullWritten;  ///< bytes that the full encoder writes; 0 without a full encoding
  u32 (*feed)(flatbuffers::FlatBufferBuilder& builder, const u8* record);
  void (*setIdl)(IdlMsgDesc* desc);
};

/// One row for each request type, in the order of the roll call.
std::vector<Message> messages();

}  // namespace bench

#endif
