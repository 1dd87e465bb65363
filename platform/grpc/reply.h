#ifndef PLATFORM_GRPC_REPLY_H
#define PLATFORM_GRPC_REPLY_H

#include <grpcpp/support/byte_buffer.h>

#include <optional>

#include "mqc_fes_intf.h"

namespace delivery {

/// The status in a service's reply; none when the bytes are not an MqcReply.
std::optional<u32> statusIn(const grpc::ByteBuffer& reply);

}  // namespace delivery

#endif
