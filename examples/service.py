"""A service behind MqcFesIntf: it knows rule MACs and QoS groups, and no group for port 0.

usage: service.py ADDRESS [CA CERT KEY]     unix:PATH or HOST:PORT; PEM files for mutual TLS

It needs the modules that flatc generates, in the same folder:
    flatc --python --grpc mqc_fes_intf.fbs mqc_reply.fbs mqc_stream.fbs mqc_fes_intf_service.fbs
"""
import os
import sys
import threading
from concurrent import futures

import flatbuffers
import grpc
from mqc import MqcAnswer, MqcAnswers, MqcCalls, MqcReply
from mqc.mqc_fes_intf_service_grpc_fb import MqcFesIntfServicer, add_MqcFesIntfServicer_to_server
from mqc.MQC_port_group import MQC_port_group
from mqc.MQC_RuleMac import MQC_RuleMac

INSTANCE = int.from_bytes(os.urandom(8), "little") | 1


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

    def stream(self, messages, context):
        """Calls that arrive in order go to the methods above; each is answered."""
        yield answers(INSTANCE)
        for message in messages:
            calls = MqcCalls.MqcCalls.GetRootAs(message)
            for call in map(calls.Calls, range(calls.CallsLength())):
                yield answers(0, (call.Sequence(), *self.outcome(call, context)))

    def outcome(self, call, context):
        """Status and code of a call."""
        methods = {b"sendRuleMac": self.sendRuleMac, b"qos_group_port": self.qos_group_port}
        if call.Method() not in methods:
            return 0, grpc.StatusCode.UNIMPLEMENTED
        try:
            start = call._tab.Vector(call._tab.Offset(10))
            request = call._tab.Bytes[start:start + call.MessageLength()]
            answer = methods[call.Method()](request, context)
            return MqcReply.MqcReply.GetRootAs(answer).Status(), grpc.StatusCode.OK
        except Exception:  # as gRPC does for unary calls
            return 0, grpc.StatusCode.UNKNOWN


def answers(instance, *rows):
    """A message of the stream; a row is a call's sequence number, status and code."""
    builder = flatbuffers.Builder(64)
    made = []
    for sequence, status, code in rows:
        MqcAnswer.Start(builder)
        MqcAnswer.AddSequence(builder, sequence)
        MqcAnswer.AddStatus(builder, status)
        MqcAnswer.AddCode(builder, code.value[0])
        made.append(MqcAnswer.End(builder))
    MqcAnswers.StartAnswersVector(builder, len(made))
    for answer in reversed(made):
        builder.PrependUOffsetTRelative(answer)
    vector = builder.EndVector()
    MqcAnswers.Start(builder)
    MqcAnswers.AddInstance(builder, instance)
    MqcAnswers.AddAnswers(builder, vector)
    builder.Finish(MqcAnswers.End(builder))
    return bytes(builder.Output())


class Health(grpc.GenericRpcHandler):
    """Answers health checks, always with SERVING."""

    def service(self, details):
        if details.method == "/grpc.health.v1.Health/Check":
            return grpc.unary_unary_rpc_method_handler(lambda request, context: b"\x08\x01")
        if details.method == "/grpc.health.v1.Health/Watch":
            return grpc.unary_stream_rpc_method_handler(self.watch)
        return None

    def watch(self, request, context):
        yield b"\x08\x01"
        gone = threading.Event()
        if context.add_callback(gone.set):
            gone.wait()


def listen(server, address, tls):
    if not tls:
        return server.add_insecure_port(address)
    ca, cert, key = (open(path, "rb").read() for path in tls)
    credentials = grpc.ssl_server_credentials([(key, cert)], ca, require_client_auth=True)
    return server.add_secure_port(address, credentials)


if len(sys.argv) not in (2, 5):
    sys.exit("usage: service.py ADDRESS [CA CERT KEY]")
limit = [("grpc.max_receive_message_length", 65 * 1024 * 1024)]
server = grpc.server(futures.ThreadPoolExecutor(100), options=limit)  # a stream holds a thread
add_MqcFesIntfServicer_to_server(ExampleService(), server)
server.add_generic_rpc_handlers([Health()])
if listen(server, sys.argv[1], sys.argv[2:]) == 0:
    sys.exit("service.py: cannot listen on " + sys.argv[1])
server.start()
server.wait_for_termination()
