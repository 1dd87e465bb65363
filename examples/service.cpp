// A typed service behind MqcFesIntf: it knows rule MACs and QoS groups, and no group for port 0.
//
// usage: service ADDRESS [CA CERT KEY]     unix:PATH or HOST:PORT; PEM files for mutual TLS
#include <grpcpp/health_check_service_interface.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "mqc_fes_intf_service.grpc.fb.h"
#include "mqc_service.h"

using flatbuffers::grpc::Message;

class ExampleService final : public MqcFesIntf::Service {
  grpc::Status sendRuleMac(grpc::ServerContext*, const Message<MQC_RuleMac>* request,
                           Message<MqcReply>* reply) override {
    const MQC_RuleMac* rule = mqc::parse(*request);
    if (rule == nullptr || rule->head() == nullptr || rule->f1() == nullptr) return mqc::damaged();
    std::string mac;
    for (const auto byte : *rule->f1()) mac.append(" ").append(std::to_string(byte));
    std::printf("sendRuleMac: rule %u, MAC%s\n", rule->head()->f0(), mac.c_str());
    *reply = mqc::reply(0);
    return grpc::Status::OK;
  }

  grpc::Status qos_group_port(grpc::ServerContext*, const Message<MQC_port_group>* request,
                              Message<MqcReply>* reply) override {
    const MQC_port_group* port = mqc::parse(*request);
    if (port == nullptr) return mqc::damaged();
    std::printf("qos_group_port: port %u, group %u\n", port->f0(), port->f1());
    *reply = mqc::reply(port->f0() != 0 ? 0 : 1);
    return grpc::Status::OK;
  }

  // Calls that arrive in order, over a stream, go to the methods above.
  grpc::Status stream(grpc::ServerContext* context, mqc::Stream* stream) override {
    return mqc::serveStream(*this, context, stream);
  }
};

static std::string contents(const char* path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

int main(int argc, char** argv) {
  if (argc != 2 && argc != 5)
    return std::fputs("usage: service ADDRESS [CA CERT KEY]\n", stderr), 2;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  grpc::SslServerCredentialsOptions tls(GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  if (argc == 5) tls.pem_root_certs = contents(argv[2]);
  if (argc == 5) tls.pem_key_cert_pairs = {{contents(argv[4]), contents(argv[3])}};
  ExampleService service;
  grpc::EnableDefaultHealthCheckService(true);
  grpc::ServerBuilder builder;
  mqc::applyLimits(builder);
  builder.AddListeningPort(
      argv[1], argc == 5 ? grpc::SslServerCredentials(tls) : grpc::InsecureServerCredentials());
  const auto server = builder.RegisterService(&service).BuildAndStart();
  if (server == nullptr) return 1;
  server->Wait();
}
