#ifndef INSPECT_ANNOTATE_H
#define INSPECT_ANNOTATE_H

#include "page/message.h"

namespace inspect {

using page::Message;
using reader::Bytes;
using reader::Item;
using reader::Schema;
using reader::Write;

/// Writes every byte of a message without a fault in order with its meaning, line by line.
void annotate(const Message& message, const Write& write);

}  // namespace inspect

#endif
