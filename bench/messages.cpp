#include "bench/messages.h"

#include <algorithm>

#include "bench/builder_feed.h"
#include "bench/slot_lists.h"

namespace bench {
namespace {

template <class Record>
constexpr u32 fullWritten() {
  return codec::ListOf<Record>::hasBuffer ? 0 : u32{codec::LayoutOf<Record>::fullWritten};
}

#define MESSAGE(method, Type)                                                    \
  Message{&codec::Described<Type>::info, fullWritten<Type>(), feedMessage<Type>, \
          MqcFesIntf_##method##SetIdl},
const Message methods[] = {MQC_FES_INTF_METHODS(MESSAGE, MESSAGE)};
#undef MESSAGE

}  // namespace

std::vector<Message> messages() {
  std::vector<Message> rows;
  for (const Message& row : methods) {
    const auto same = [&](const Message& other) { return other.table == row.table; };
    if (std::none_of(rows.begin(), rows.end(), same)) rows.push_back(row);
  }
  return rows;
}

}  // namespace bench
