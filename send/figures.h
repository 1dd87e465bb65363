#ifndef SEND_FIGURES_H
#define SEND_FIGURES_H

#include <string>

#include "mqc_fes_intf.h"

namespace send {

/// 1234567 as "1,234,567".
std::string grouped(u64 number);
/// A rate with one digit behind the point: "4,999.8".
std::string grouped(double number);
/// Nanoseconds as milliseconds, to the microsecond: "12.345".
std::string milliseconds(u64 nanoseconds);

}  // namespace send

#endif
