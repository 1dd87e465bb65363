/**
 * @file mqc_service.h
 * @brief What a C++ service behind MqcFesIntf needs besides the code that flatc makes.
 *
 *     flatc --cpp --grpc mqc_fes_intf.fbs mqc_reply.fbs mqc_fes_intf_service.fbs
 *
 * makes `MqcFesIntf::Service`, whose methods a service overrides. Compile every file, the made ones
 * included, with `-include mqc_service.h`: it turns off the check that flatc's code makes by
 * itself, which asks for aligned words that these messages do not have, and puts the tables'
 * namespace `mqc` in use, which flatc's code of a service leaves out. A source that includes
 * `mqc_fes_intf.h`, whose records have the tables' names, is therefore one without it.
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
 * Any thread may call any function at any time, an object given being its own.
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

/// The longest message that a service takes, in bytes: a batch of 64 MiB and what is around it.
inline constexpr int maxMessageBytes = 65 * 1024 * 1024;

/// The threads of a service that answers in generated methods: more than a caller has calls under
/// way, unless told otherwise. A call that finds all of them busy is answered with
/// RESOURCE_EXHAUSTED; without a limit, a flood of slow calls gets a thread each.
inline constexpr int maxThreads = 2048;

/// The memory, in bytes, that a service has for messages while they arrive and are handled: seven
/// of the longest. When it runs short, calls are ended with RESOURCE_EXHAUSTED; without a limit, a
/// few peers who stall in the middle of long messages take all of the machine's.
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
 * message. Other damage shows as other values (`tarn-inspect` and `tarn-serve` hold every byte to
 * its place). Any table or vector in it may be nullptr: the library always sends them, others need
 * not.
 */
template <class Request>
const Request* parse(const flatbuffers::grpc::Message<Request>& message) {
  flatbuffers::Verifier check = verifier(message.data(), message.size());
  return check.template VerifyBuffer<Request>(nullptr) ? message.GetRoot() : nullptr;
}

/// What a damaged request is answered with.
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
  // A compressed message is unpacked, however large it becomes, before its size is looked at.
  builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_DEFLATE, false);
  builder.SetCompressionAlgorithmSupportStatus(GRPC_COMPRESS_GZIP, false);
  builder.SetResourceQuota(grpc::ResourceQuota("mqc").SetMaxThreads(maxThreads).Resize(maxMemory));
}

}  // namespace mqc

using namespace mqc;

#endif
