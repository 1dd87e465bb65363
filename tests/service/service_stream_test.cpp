// The stream of mqc_stream.h in a service whose methods are those of a test.

#include "service/mqc_service.h"
//
#include <grpcpp/create_channel.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/server.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <stdexcept>

// In place of flatc's code, which takes long to compile.
class MqcFesIntf {
 public:
  struct Request;
  using Message = flatbuffers::grpc::Message<Request>;
  using Reply = flatbuffers::grpc::Message<mqc::MqcReply>;

  class Service : public grpc::Service {
   public:
    Service() {
      using Handler =
          grpc::internal::BidiStreamingHandler<Service, flatbuffers::grpc::Message<mqc::MqcCalls>,
                                               flatbuffers::grpc::Message<mqc::MqcAnswers>>;
      const auto serve = [](Service* self, grpc::ServerContext* context, mqc::Stream* stream) {
        return mqc::serveStream(*self, context, stream);
      };
      AddMethod(new grpc::internal::RpcServiceMethod("/MqcFesIntf/stream",
                                                     grpc::internal::RpcMethod::BIDI_STREAMING,
                                                     new Handler(serve, this)));
    }
    std::function<grpc::Status(const std::string& method, const std::string& bytes, Reply& reply)>
        act;

#define METHOD(m, Type)                                                           \
  grpc::Status m(grpc::ServerContext*, const Message* request, Reply* reply) {    \
    return act(#m, {request->data(), request->data() + request->size()}, *reply); \
  }
    MQC_FES_INTF_METHODS(METHOD, METHOD)
#undef METHOD
  };
};

namespace {

struct Row {
  std::uint64_t sequence;
  std::string method, message;
};

grpc::ByteBuffer calls(const std::vector<Row>& rows) {
  flatbuffers::FlatBufferBuilder builder;
  std::vector<flatbuffers::Offset<mqc::MqcCall>> made;
  for (const Row& row : rows) {
    const auto message = builder.CreateVector(
        reinterpret_cast<const std::uint8_t*>(row.message.data()), row.message.size());
    made.push_back(mqc::CreateMqcCall(builder, row.sequence, builder.CreateString(row.method),
                                      mqc::MqcVariant_Sync, message));
  }
  builder.Finish(mqc::CreateMqcCalls(builder, builder.CreateVector(made)));
  const grpc::Slice slice(builder.GetBufferPointer(), builder.GetSize());
  return grpc::ByteBuffer(&slice, 1);
}

class ServiceStream : public testing::Test {
 protected:
  void SetUp() override {
    int port = 0;
    grpc::ServerBuilder builder;
    builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
    server_ = builder.RegisterService(&service_).BuildAndStart();
    grpc::GenericStub stub(grpc::CreateChannel("127.0.0.1:" + std::to_string(port),
                                               grpc::InsecureChannelCredentials()));
    stream_ = stub.PrepareCall(&context_, "/MqcFesIntf/stream", &queue_);
    stream_->StartCall(this);
    EXPECT_TRUE(isDone());
  }
  void TearDown() override {
    context_.TryCancel();
    queue_.Shutdown();
    server_->Shutdown();
  }

  bool isDone() {
    void* tag = nullptr;
    bool ok = false;
    return queue_.Next(&tag, &ok) && ok;
  }
  void send(const std::vector<Row>& rows) {
    stream_->Write(calls(rows), this);
    EXPECT_TRUE(isDone());
  }
  /// Reads one message; adds its answers.
  bool read() {
    grpc::ByteBuffer message;
    stream_->Read(&message, this);
    if (!isDone()) return false;
    grpc::Slice slice;
    EXPECT_TRUE(message.DumpToSingleSlice(&slice).ok());
    EXPECT_LT(slice.size(), std::size_t{1} << 20);
    flatbuffers::Verifier check = mqc::verifier(slice.begin(), slice.size());
    EXPECT_TRUE(check.VerifyBuffer<mqc::MqcAnswers>(nullptr));
    const auto* const table = flatbuffers::GetRoot<mqc::MqcAnswers>(slice.begin());
    if (table->instance() != 0) instances_.push_back(table->instance());
    if (table->answers() == nullptr) return true;
    for (const auto* const answer : *table->answers()) {
      answers_.push_back(std::to_string(answer->sequence()) + ": " +
                         std::to_string(answer->status()) + ", " + std::to_string(answer->code()));
      reasons_.push_back(answer->reason() == nullptr ? "" : answer->reason()->str());
    }
    return true;
  }
  void readAnswers(std::size_t number) {
    while (answers_.size() < number && read()) {
    }
  }
  /// Ends this side and returns the stream's end.
  grpc::Status end() {
    stream_->WritesDone(this);
    EXPECT_TRUE(isDone());
    while (read()) {
    }
    grpc::Status status(grpc::StatusCode::UNKNOWN, "");
    stream_->Finish(&status, this);
    EXPECT_TRUE(isDone());
    return status;
  }

  MqcFesIntf::Service service_;
  std::unique_ptr<grpc::Server> server_;
  grpc::ClientContext context_;
  grpc::CompletionQueue queue_;
  std::unique_ptr<grpc::GenericClientAsyncReaderWriter> stream_;
  std::vector<std::uint64_t> instances_;
  std::vector<std::string> answers_, reasons_;
};

using Answers = std::vector<std::string>;

TEST_F(ServiceStream, EveryMethodGetsItsCallsInOrder) {
  std::vector<std::string> handled;
  service_.act = [&](const std::string& method, const std::string& bytes, auto& reply) {
    handled.push_back(method + bytes);
    reply = mqc::reply(static_cast<std::uint32_t>(handled.size()));
    return grpc::Status::OK;
  };
  std::vector<Row> rows;
  Answers expected, outcomes;
  for (const char* const method : {
#define NAME(m, Type) #m,
           MQC_FES_INTF_METHODS(NAME, NAME)
#undef NAME
       }) {
    rows.push_back({10 * (rows.size() + 1), method, std::string(rows.size(), 'x')});
    expected.push_back(method + rows.back().message);
    outcomes.push_back(std::to_string(10 * rows.size()) + ": " + std::to_string(rows.size()) +
                       ", 0");
  }
  send({rows.begin(), rows.begin() + 1});
  send({rows.begin() + 1, rows.end()});
  EXPECT_TRUE(end().ok());
  EXPECT_EQ(handled, expected);
  EXPECT_EQ(answers_, outcomes);
  EXPECT_EQ(instances_, std::vector<std::uint64_t>{mqc::streams::instance()});
}

TEST_F(ServiceStream, AnswersDoNotWaitForLaterCalls) {
  std::promise<void> release;
  service_.act = [&](const std::string&, const std::string& bytes, auto& reply) {
    if (bytes == "slow") release.get_future().wait();
    reply = mqc::reply(5);
    return grpc::Status::OK;
  };
  send({{1, "act_car_oper", ""}, {2, "act_car_oper", ""}, {3, "act_car_oper", "slow"}});
  readAnswers(2);
  EXPECT_EQ(answers_, (Answers{"1: 5, 0", "2: 5, 0"}));
  release.set_value();
  EXPECT_TRUE(end().ok());
  EXPECT_EQ(answers_, (Answers{"1: 5, 0", "2: 5, 0", "3: 5, 0"}));
}

TEST_F(ServiceStream, AFailedCallIsAnsweredAndTheStreamGoesOn) {
  std::string longReason(mqc::streams::longestReason - 1, 'x');
  service_.act = [&](const std::string&, const std::string& bytes, auto& reply) {
    if (bytes == "throw") throw std::runtime_error("");
    if (bytes == "refuse") return grpc::Status(grpc::StatusCode::NOT_FOUND, "no port");
    if (bytes == "long") return grpc::Status(grpc::StatusCode::ABORTED, longReason + "\u20AC");
    if (bytes == "odd") return grpc::Status(static_cast<grpc::StatusCode>(20), "odd");
    if (bytes != "silent") reply = mqc::reply(0);
    return grpc::Status::OK;
  };
  send({{1, "act_car_oper", "throw"},
        {2, "act_car_oper", "refuse"},
        {3, "act_car_oper", "long"},
        {4, "act_car_oper", "odd"},
        {5, "act_car_oper", "silent"},
        {6, "nothing", ""},
        {6, "act_car_oper", ""},
        {7, "act_car_oper", ""}});
  EXPECT_TRUE(end().ok());
  EXPECT_EQ(answers_, (Answers{"1: 0, 2", "2: 0, 5", "3: 0, 10", "4: 0, 2", "5: 0, 13", "6: 0, 12",
                               "6: 0, 3", "7: 0, 0"}));
  reasons_.at(0) = "gRPC's own";
  EXPECT_EQ(reasons_, (Answers{"gRPC's own", "no port", longReason, "odd", "no reply",
                               "no such method", "out of sequence", ""}));
}

/// Long reasons are sent in messages of less than 1 MiB, and a caller that does not read for a
/// while loses nothing.
TEST_F(ServiceStream, WhatWaitsIsBounded) {
  std::atomic<std::size_t> handled = 0;
  service_.act = [&](const std::string&, const std::string&, auto&) {
    ++handled;
    return grpc::Status(grpc::StatusCode::ABORTED, std::string(2000, 'x'));
  };
  std::vector<Row> rows;
  while (rows.size() < 5 * mqc::streams::mostAnswers)
    rows.push_back({rows.size() + 1, "act_car_oper", ""});
  send(rows);
  for (std::size_t before = 0; handled < mqc::streams::mostAnswers || handled != before;) {
    before = handled;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
  EXPECT_LT(handled, rows.size());
  EXPECT_TRUE(end().ok());
  EXPECT_EQ(answers_.size(), rows.size());
  EXPECT_EQ(answers_.back(), std::to_string(rows.size()) + ": 0, 10");
}

}  // namespace
