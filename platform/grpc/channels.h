#ifndef PLATFORM_GRPC_CHANNELS_H
#define PLATFORM_GRPC_CHANNELS_H

#include "platform/grpc/channel.h"

namespace delivery {

// The process's channels. A handle is a channel's number, which no other channel gets, in the form
// of a pointer.

/// The handle of the channel of calls without an option, which is made from the environment at the
/// first.
void* defaultHandle();
/// Makes a channel and returns its handle.
void* openHandle(const TarnGrpcOptions& options);
/// Returns the handle that TarnGrpc_open returned, NULL that of the default channel; throws a
/// SetupError for anything else.
void* checkedHandle(void* opt);

/// Returns the same, NULL that of the default channel, without making one; may be no channel's.
void* presentHandle(void* opt);

/// The channel of a handle; nullptr if it was closed, or there was none.
std::shared_ptr<Channel> channelOf(void* handle);
/// The same; the handle is refused from now on.
std::shared_ptr<Channel> withdrawChannel(void* handle);
/// After that: when the channel is closed.
void forgetChannel(void* handle);
/// The channels in turn, also while they are being closed: that with the next higher number,
/// nullptr after the last. Begins with 0, and updates the number.
std::shared_ptr<Channel> channelAfter(u64& number);

}  // namespace delivery

#endif
