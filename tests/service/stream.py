"""The caller's side of the stream of MqcFesIntf, with flatc's code of its schema."""
import queue

import flatbuffers
import grpc
from mqc import MqcAnswers, MqcCall, MqcCalls

TIMEOUT = 300


def calls(*rows):
    """A message; a row is sequence number, method and bytes, either of which may be None."""
    builder = flatbuffers.Builder(0)
    made = []
    for sequence, method, message in rows:
        content = None if message is None else builder.CreateByteVector(message)
        name = None if method is None else builder.CreateString(method)
        MqcCall.Start(builder)
        MqcCall.AddSequence(builder, sequence)
        if name is not None:
            MqcCall.AddMethod(builder, name)
        if content is not None:
            MqcCall.AddMessage(builder, content)
        made.append(MqcCall.End(builder))
    MqcCalls.StartCallsVector(builder, len(made))
    for call in reversed(made):
        builder.PrependUOffsetTRelative(call)
    vector = builder.EndVector()
    MqcCalls.Start(builder)
    MqcCalls.AddCalls(builder, vector)
    builder.Finish(MqcCalls.End(builder))
    return bytes(builder.Output())


def code_name(number):
    return next(code.name for code in grpc.StatusCode if code.value[0] == number)


def answers_in(message):
    """Of each answer: sequence number, and status or gRPC's code and reason."""
    answers = MqcAnswers.MqcAnswers.GetRootAs(message)
    found = []
    for answer in map(answers.Answers, range(answers.AnswersLength())):
        fault = f"{code_name(answer.Code())}: {(answer.Reason() or b'').decode()}"
        found.append((answer.Sequence(), fault if answer.Code() else answer.Status()))
    return found


class Stream:
    """An open stream. Its instance is the service's."""

    def __init__(self, channel):
        self.outgoing = queue.SimpleQueue()
        method = channel.stream_stream("/MqcFesIntf/stream")
        self.call = method(iter(self.outgoing.get, None), timeout=TIMEOUT)
        self.instance = MqcAnswers.MqcAnswers.GetRootAs(next(self.call)).Instance()

    def send(self, message):
        self.outgoing.put(message)

    def answers(self, number):
        """So many answers, of however many messages."""
        found = []
        while len(found) < number:
            found += answers_in(next(self.call))
        return found

    def end(self):
        """Ends the caller's side, and returns the answers left and how the stream ends."""
        self.send(None)
        return self.rest()

    def rest(self):
        found = []
        try:
            for message in self.call:
                found += answers_in(message)
        except grpc.RpcError:
            pass
        return found, self.call.code().name, self.call.details()
