/**
 * @file mqc_service.h
 * @brief What a C++ service behind MqcFesIntf needs in addition to flatc's code.
 *
 *     flatc --cpp --grpc mqc_fes_intf.fbs mqc_reply.fbs mqc_stream.fbs mqc_fes_intf_service.fbs
 *
 * generates `MqcFesIntf::Service`, whose methods a service overrides. Compile every file, generated
 * ones included, with `-include mqc_service.h`: the check in flatc's code, which it turns off,
 * demands aligned words, which these messages do not have; and flatc's code of a service leaves out
 * the tables' namespace `mqc`, which it puts in use. A source with it cannot include
 * `mqc_fes_intf.h`, whose records have the tables' names.
 *
 *     grpc::Status sendRuleMac(grpc::ServerContext*,
 *                              const flatbuffers::grpc::Message<MQC_RuleMac>* request,
 *                              flatbuffers::grpc::Message<MqcReply>* reply) override {
 *       const MQC_RuleMac* rule = mqc::parse(*request);
 *       if (rule == nullptr || rule->f1() == nullptr) return mqc::damaged();
 *       ...
 *       *reply = mqc::reply(0);
 *       return grpc::Status::OK;
 *     }
 *
 * `mqc_stream.h` adds the stream, over which calls arrive in order.
 *
 * Any thread may call any function at any time, on objects of its own.
 */
#ifndef MQC_SERVICE_H
#define MQC_SERVICE_H

/// Version of this header: major * 10000 + minor * 100 + patch.
#define MQC_SERVICE_VERSION 10100

#if !FLATBUFFERS_GRPC_DISABLE_AUTO_VERIFICATION
#ifdef FLATBUFFERS_GRPC_H_
#error "compile every file with -include mqc_service.h"
#endif
#undef FLATBUFFERS_GRPC_DISABLE_AUTO_VERIFICATION
#define FLATBUFFERS_GRPC_DISABLE_AUTO_VERIFICATION 1
#endif

#include <flatbuffers/flatbuffers.h>
#include <flatbuffers/grpc.h>
#include <grpcpp/resource_quota.h>
#include <grpcpp/server_builder.h>

#include <cstddef>
#include <cstdint>

#include "mqc_reply_generated.h"

namespace mqc {

/// The longest message that a service accepts, in bytes: a batch of 64 MiB and what is around it.
inline constexpr int maxMessageBytes = 65 * 1024 * 1024;

/// The threads of a service with generated methods: more than a caller's default in-flight limit. A
/// call that finds all of them busy is answered with RESOURCE_EXHAUSTED; without a limit, each of a
/// flood of slow calls would get a thread.
inline constexpr int maxThreads = 2048;

/// The memory, in bytes, for messages while they arrive and are handled: seven of the longest. When
/// it runs short, calls end with RESOURCE_EXHAUSTED; without a limit, a few peers that stall in the
/// middle of long messages would take all of the machine's.
inline constexpr std::size_t maxMemory = std::size_t{512} << 20;

/// Checks messages of either encoding, no word of which is aligned.
inline flatbuffers::Verifier verifier(const std::uint8_t* bytes, std::size_t size) {
  flatbuffers::Verifier::Options options;
  options.check_alignment = false;
  return flatbuffers::Verifier(bytes, size, options);
}

/**
 * Checks a request and gives access to its fields.
 *
 * @param message the request, which owns the bytes
 * @return the request, valid as long as the message; nullptr when reading it would leave the
 * message. Other damage appears as wrong values (`tarn-inspect` and `tarn-serve` check every byte's
 * place). Any table or vector in it may be nullptr: the library always sends them, others need not.
 */
template <class Request>
const Request* parse(const flatbuffers::grpc::Message<Request>& message) {
  flatbuffers::Verifier check = verifier(message.data(), message.size());
  return check.template VerifyBuffer<Request>(nullptr) ? message.GetRoot() : nullptr;
}

/// The answer to a damaged request.
inline grpc::Status damaged() {
  return grpc::Status(grpc::StatusCode::INVALID_ARGUMENT, "damaged request");
}

/// Makes a reply with the status that the caller's call returns.
inline flatbuffers::grpc::Message<MqcReply> reply(std::uint32_t status) {
  flatbuffers::grpc::MessageBuilder builder(64);
  builder.Finish(CreateMqcReply(builder, status));
  return builder.ReleaseMessage<MqcReply>();
}

/// Applies maxMessageBytes, maxThreads and maxMemory to a server that is being built.
inline void applyLimits(grpc::ServerBuilder& builder) {
  builder.SetMaxReceiveMessageSize(maxMessageBytes);
  // A compressed message is unpacked, however large, before its size is checked.
  builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_DEFLATE, false);
  builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_GZIP, false);
  builder.SetResourceQuota(grpc::ResourceQuota("mqc").SetMaxThreads(maxThreads).Resize(maxMemory));
}

}  // namespace mqc

#include "mqc_stream.h"

using namespace mqc;

#endif
