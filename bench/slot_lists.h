#ifndef BENCH_SLOT_LISTS_H
#define BENCH_SLOT_LISTS_H

// The messages' slot lists for the compiler: the message sources, without their encoders. A source
// that is missing here does not compile, because the roll call names its records.

#include "msg/message.h"

#undef COMPACT_ENCODER
#undef FULL_ENCODER
#define COMPACT_ENCODER(Type, line)
#define FULL_ENCODER(Type)

#include "msg/act_car_remark.cpp"
#include "msg/act_redirect_mtnl.cpp"
#include "msg/act_redirect_nhp.cpp"
#include "msg/act_small.cpp"
#include "msg/broker.cpp"
#include "msg/commands.cpp"
#include "msg/hqos.cpp"
#include "msg/match_all.cpp"
#include "msg/match_nexthop_vxlan.cpp"
#include "msg/match_rocev2_tunnel.cpp"
#include "msg/match_scalar.cpp"
#include "msg/policies.cpp"
#include "msg/qos_group_car.cpp"
#include "msg/smooth_batch.cpp"
#include "msg/templates.cpp"

#undef COMPACT_ENCODER
#undef FULL_ENCODER

#endif
