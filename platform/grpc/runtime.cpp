// The RPC runtime: every call goes to a service over gRPC. No exception leaves it.

#include <new>

#include "platform/common/encode.h"
#include "platform/grpc/completions.h"
#include "platform/grpc/failure.h"
#include "platform/rpc.h"

namespace platform {
namespace {

/// The encoding that the channel sends. gRPC takes the encoder's bytes themselves.
u32 encodeFor(const Channel& channel, const MethodId& method, const IdlMsgDesc& desc,
              const void* req, grpc::ByteBuffer& request) {
  const bool full = channel.settings().full && hasFull(desc);
  Encoding encoding;
  const TarnStatus status =
      (full ? encodeFull : encodeCompact)(method.methodName, desc, req, encoding);
  if (status != TARN_STATUS_OK) return failure(method.methodName, status);
  const u32 size = encoding.size();
  const auto free = [](void* bytes) { delete[] static_cast<u8*>(bytes); };
  const grpc::Slice slice(encoding.take().release(), size, free);
  request = grpc::ByteBuffer(&slice, 1);
  return TARN_STATUS_OK;
}

u32 callAndWait(Channel& channel, const MethodId& method, const grpc::ByteBuffer& request) {
  Exchange exchange(method);
  grpc::CompletionQueue queue;
  exchange.start(channel, request, completions().nextSequence(), queue, nullptr);
  void* tag = nullptr;
  bool ok = false;
  queue.Next(&tag, &ok);
  return exchange.outcome();
}

/// Tests the arguments, encodes, and lets send do the rest with channel and request.
template <class Send>
u32 callWith(void* handle, const void* req, const MethodId* method, const IdlMsgDesc* desc,
             Send send) noexcept {
  const char* const name =
      method != nullptr && method->methodName != nullptr ? method->methodName : "a call";
  if (isForked()) return failure(name, TARN_GRPC_FORKED);
  if (handle == nullptr) return TARN_STATUS_INVALID;  // why there is none has been told
  try {
    if (!isComplete(handle, req, method, desc)) return failure(name, TARN_STATUS_INVALID);
    Channel& channel = *static_cast<Channel*>(handle);
    grpc::ByteBuffer request;
    const u32 status = encodeFor(channel, *method, *desc, req, request);
    return status != TARN_STATUS_OK ? status : send(channel, request);
  } catch (const std::exception&) {
    return failure(name, TARN_STATUS_NO_RESOURCES);
  }
}

/// What make returns, NULL with a line on stderr where it throws.
template <class Make>
void* madeBy(Make make) noexcept {
  try {
    return make();
  } catch (const std::exception& error) {
    setupFailure(error.what());
    return nullptr;
  }
}

}  // namespace
}  // namespace platform

using platform::completions;

void* RPC_GetRpcInvoke(RpcServerAddr* addr, void* opt) {
  // Without a lock: another thread may have held it when the process was forked. Any handle serves.
  if (platform::isForked()) return addr;
  return platform::madeBy([&]() -> void* {
    if (opt != nullptr) return platform::openedChannel(opt);
    if (addr == nullptr) throw platform::SetupError("no server address");
    return platform::defaultChannel(*addr);
  });
}

u32 RPC_IdlSyncCallNoOutStub(void* handle, const void* req, u32, const MethodId* method,
                             const IdlMsgDesc* desc) {
  return platform::callWith(handle, req, method, desc, [&](auto& channel, auto& request) {
    return platform::callAndWait(channel, *method, request);
  });
}

u32 RPC_IdlAsyncCallNoOutStub(void* handle, const void* req, const MethodId* method,
                              const IdlMsgDesc* desc, const AsyncCallCtx* ctx) {
  return platform::callWith(handle, req, method, desc, [&](auto& channel, auto& request) -> u32 {
    if (ctx == nullptr) return platform::failure(method->methodName, TARN_STATUS_INVALID);
    return completions().begin(channel, *method, request, ctx->cb, ctx->userData);
  });
}

u32 RPC_IdlMsgOnewayCall(void* handle, const void* req, const MethodId* method,
                         const IdlMsgDesc* desc) {
  return platform::callWith(handle, req, method, desc, [&](auto& channel, auto& request) {
    return completions().begin(channel, *method, request, nullptr, nullptr);
  });
}

void* TarnGrpc_open(const TarnGrpcOptions* options) {
  return platform::madeBy([&]() -> void* {
    if (platform::isForked()) throw platform::SetupError(TarnGrpc_statusText(TARN_GRPC_FORKED));
    if (options == nullptr) throw platform::SetupError("no options");
    return platform::openChannel(*options);
  });
}

u32 TarnGrpc_drain(u32 ms) {
  if (platform::isForked()) return TARN_GRPC_FORKED;
  return completions().drain(std::chrono::milliseconds(ms));
}

const char* TarnGrpc_lastError(void) {
  return platform::lastFailure();
}
