#ifndef INSPECT_MESSAGES_H
#define INSPECT_MESSAGES_H

#include "inspect/input.h"
#include "inspect/options.h"
#include "reader/schema.h"

namespace inspect {

/// Shows the files' messages; what is wrong is reported on stderr. Returns the exit status.
/// @param first the first file that could be opened, open
/// @param from  its index; the failures of those before it were reported
int showMessages(const reader::Schema& schema, const Options& options, Input& first,
                 std::size_t from);

}  // namespace inspect

#endif
