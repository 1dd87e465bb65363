"""A service behind MqcFesIntf: it knows rule MACs and QoS groups, and no group for port 0.

usage: service.py ADDRESS [CA CERT KEY]     unix:PATH or HOST:PORT; PEM files for mutual TLS

It needs the modules that flatc generates, in the same folder:
    flatc --python --grpc mqc_fes_intf.fbs mqc_reply.fbs mqc_fes_intf_service.fbs
"""
import sys
from concurrent import futures

import flatbuffers
import grpc
from mqc import MqcReply
from mqc.mqc_fes_intf_service_grpc_fb import MqcFesIntfServicer, add_MqcFesIntfServicer_to_server
from mqc.MQC_port_group import MQC_port_group
from mqc.MQC_RuleMac import MQC_RuleMac


def reply(status):
    builder = flatbuffers.Builder(32)
    MqcReply.Start(builder)
    MqcReply.AddStatus(builder, status)
    builder.Finish(MqcReply.End(builder))
    return bytes(builder.Output())


class ExampleService(MqcFesIntfServicer):
    def sendRuleMac(self, request, context):
        rule = MQC_RuleMac.GetRootAs(request, 0)
        mac = " ".join(str(rule.F1(i)) for i in range(rule.F1Length()))
        print(f"sendRuleMac: rule {rule.Head().F0()}, MAC {mac}\n", end="", flush=True)
        return reply(0)

    def qos_group_port(self, request, context):
        port = MQC_port_group.GetRootAs(request, 0)
        print(f"qos_group_port: port {port.F0()}, group {port.F1()}\n", end="", flush=True)
        return reply(0 if port.F0() != 0 else 1)


def listen(server, address, tls):
    if not tls:
        return server.add_insecure_port(address)
    ca, cert, key = (open(path, "rb").read() for path in tls)
    credentials = grpc.ssl_server_credentials([(key, cert)], ca, require_client_auth=True)
    return server.add_secure_port(address, credentials)


if len(sys.argv) not in (2, 5):
    sys.exit("usage: service.py ADDRESS [CA CERT KEY]")
limit = [("grpc.max_receive_message_length", 65 * 1024 * 1024)]
server = grpc.server(futures.ThreadPoolExecutor(), options=limit)
add_MqcFesIntfServicer_to_server(ExampleService(), server)
if listen(server, sys.argv[1], sys.argv[2:]) == 0:
    sys.exit("service.py: cannot listen on " + sys.argv[1])
server.start()
server.wait_for_termination()
