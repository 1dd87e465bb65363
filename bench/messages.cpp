#include "bench/messages.h"

#include <algorithm>

#include "bench/builder_feed.h"
#include "methods/describe.h"
#include "msg/messages.h"

namespace bench {
namespace {

template <class Record>
constexpr u32 fullWritten() {
  return codec::ListOf<Record>::hasBuffer ? 0 : u32{codec::LayoutOf<Record>::fullWritten};
}

#define MESSAGE(method, Type)                                                       \
  Message{&methods::Described<Type>::table, fullWritten<Type>(), feedMessage<Type>, \
          MqcFesIntf_##method##SetIdl},
const Message allMessages[] = {MQC_FES_INTF_METHODS(MESSAGE, MESSAGE)};
#undef MESSAGE

}  // namespace

std::vector<Message> messages() {
  std::vector<Message> rows;
  for (const Message& row : allMessages) {
    const auto same = [&](const Message& other) { return other.table == row.table; };
    if (std::none_of(rows.begin(), rows.end(), same)) rows.push_back(row);
  }
  return rows;
}

}  // namespace bench
