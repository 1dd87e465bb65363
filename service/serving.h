#ifndef SERVICE_SERVING_H
#define SERVICE_SERVING_H

#include "reader/schema.h"
#include "script/script.h"
#include "service/options.h"
#include "service/output.h"
#include "service/signals.h"

namespace service {

/// Serves until a signal ends it, and adds totals and the rules' report to the lines. Returns
/// false, with a report, when it cannot serve, or not any longer.
bool serveUntilEnded(const reader::Schema& schema, const Options& options, script::Script& rules,
                     const Signals& signals, Output& lines);

}  // namespace service

#endif
