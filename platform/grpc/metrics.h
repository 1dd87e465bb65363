#ifndef PLATFORM_GRPC_METRICS_H
#define PLATFORM_GRPC_METRICS_H

#include <string>

#include "platform/grpc/totals.h"

namespace delivery {

/// The counts of each target in Prometheus' text format.
std::string metricsOf(const Totals& totals);

}  // namespace delivery

#endif
