// Set-up of channels: settings, certificates.

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "grpc/service.h"
#include "tarn/rpc.h"

namespace {

/// Runs what must return no handle and state the reason in one line, which is returned.
template <class Make>
std::string complaintOf(Make make) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(make(), nullptr);
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_EQ(line, std::string("tarn_grpc: ") + TarnGrpc_lastError() + '\n');
  return TarnGrpc_lastError();
}

void* handle(void* opt = nullptr) {
  return RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, opt);
}

using GrpcSetup = ServiceTest;

TEST_F(GrpcSetup, EnvironmentThatCannotWorkIsRefusedInOneLine) {
  const std::string missing = dir / "none\n.pem", shown = dir / "none\\n.pem";
  const std::string large = dir / "large.pem";
  std::ofstream{large};
  std::filesystem::resize_file(large, (1 << 20) + 1);
  const std::string number = "not a whole number from 1 to ";
  struct Row {
    std::string variable, value, complaint;
  };
  const Row rows[] = {
      {"TARGET", "", "TARN_GRPC_TARGET is empty"},
      {"TARGET", "localhost:99999",
       "TARN_GRPC_TARGET is 'localhost:99999', whose port is not a number from 1 to 65535"},
      {"TARGET", "dns:///localhost", "whose port is not a number from 1 to 65535"},
      {"TARGET", "ipv6:[::1]", "whose port is not a number from 1 to 65535"},
      {"TARGET", "ipv4:127.0.0.1:1,127.0.0.1:0", "whose port is not a number from 1 to 65535"},
      {"TARGET", "ipv6:[::1]:0,[::1]:1", "whose port is not a number from 1 to 65535"},
      {"TARGET", "dns:///:50051", "which has no host"},
      {"TARGET", "unix:", "which has no path"},
      {"TARGET", "unix:/tmp/a?b", "whose path has a '?' or '#'"},
      {"TARGET", "dns:///a:1,b:2", "whose port is not a number from 1 to 65535"},
      {"TARGET", "ipv4:x:1", "gRPC refuses the target 'ipv4:x:1': invalid ipv4 address: 'x'"},
      {"DEADLINE_MS", "0", number + "3600000"},
      {"DEADLINE_MS", "3600001", "TARN_GRPC_DEADLINE_MS is '3600001'"},
      {"DEADLINE_MS", "10s", number + "3600000"},
      {"DEADLINE_MS", "", "TARN_GRPC_DEADLINE_MS is ''"},
      {"DEADLINE_MS", "-1", number + "3600000"},
      {"DEADLINE_MS", "4294967297", number + "3600000"},
      {"MAX_IN_FLIGHT", "100001", number + "100000"},
      {"MAX_IN_FLIGHT", " 5", number + "100000"},
      {"MAX_BYTES", "1099511627777", number + "1099511627776"},
      {"FULL", "2", "TARN_GRPC_FULL is '2', not a whole number from 0 to 1"},
      {"WAIT", "yes", "TARN_GRPC_WAIT is 'yes'"},
      {"STREAM", "2", "TARN_GRPC_STREAM is '2', not a whole number from 0 to 1"},
      {"SERVICE_CONFIG", "", "TARN_GRPC_SERVICE_CONFIG is empty"},
      {"CA", missing, "TARN_GRPC_CA is '" + shown + "': No such file or directory"},
      {"CA", dir, "TARN_GRPC_CA is '" + dir.string() + "', which is not a regular file"},
      {"CA", "/proc/self/comm", "TARN_GRPC_CA is '/proc/self/comm', which holds no certificate"},
      {"CA", large, "TARN_GRPC_CA is '" + large + "', which holds more than 1 MiB"},
      {"CERT", "/", "TARN_GRPC_KEY is missing: certificate and key are used together"},
      {"KEY", "/", "TARN_GRPC_CERT is missing: certificate and key are used together"},
      {"SERVER_NAME", "mqc.test",
       "TARN_GRPC_CA is missing: certificates and server names require it"},
  };
  EXPECT_EQ(complaintOf([] { return handle(); }),
            "TARN_GRPC_TARGET is missing: there is no service to call");
  for (const Row& row : rows) {
    const std::string variable = "TARN_GRPC_" + row.variable;
    setenv("TARN_GRPC_TARGET", target.c_str(), 1);
    setenv(variable.c_str(), row.value.c_str(), 1);
    errno = EIO;  // of an earlier failure
    const std::string complaint = complaintOf([] { return handle(); });
    const bool isAll = complaint.ends_with(row.complaint);
    const bool isValue = row.complaint.back() == '\'' && complaint.starts_with(row.complaint);
    EXPECT_TRUE(isAll || isValue) << complaint;
    unsetenv(variable.c_str());
  }
  setenv("TARN_GRPC_TARGET", target.c_str(), 1);
  setenv("TARN_GRPC_MAX_IN_FLIGHT", "65537", 1);
  setenv("TARN_GRPC_DEADLINE_MS", "100", 1);
  setenv("TARN_GRPC_WAIT", "1", 1);
  EXPECT_NE(handle(), nullptr) << "a failed set-up is forgotten";
  EXPECT_EQ(handle(), handle());
  EXPECT_EQ(oneway(nullptr) + oneway(nullptr), 0u);
  EXPECT_EQ(TarnGrpc_drain(60'000), 0u);
  for (const char* name : {"TARGET", "MAX_IN_FLIGHT", "DEADLINE_MS", "WAIT"}) {
    unsetenv((std::string("TARN_GRPC_") + name).c_str());
  }
}

TEST_F(GrpcSetup, OptionsThatCannotWorkAreRefusedInOneLine) {
  const char* const to = target.c_str();
  const std::string longest((1 << 20) + 1, ' ');
  std::pair<TarnGrpcOptions, const char*> rows[] = {
      {{}, "target is missing"},
      {{.target = to, .deadlineMs = 3'600'001}, "deadlineMs is '3600001'"},
      {{.target = to, .maxInFlight = 100'001}, "maxInFlight is '100001'"},
      {{.target = to, .full = 2}, "full is '2'"},
      {{.target = to, .waitForReady = 2}, "waitForReady is '2'"},
      {{.stream = 2, .target = to}, "stream is '2'"},
      {{.target = to, .serviceConfig = longest.c_str()}, "serviceConfig is longer than 1 MiB"},
      {{.target = to, .cert = "/"}, "key is missing"},
      {{.target = to, .key = "/"}, "cert is missing"},
      {{.target = to, .serverName = ""}, "serverName is empty"},
      {{.target = to, .serverName = "mqc.test"}, "ca is missing"},
  };
  for (auto& row : rows) {
    row.first.size = sizeof row.first;
    const std::string complaint = complaintOf([&] { return TarnGrpc_open(&row.first); });
    EXPECT_EQ(complaint.find(row.second), 0u) << complaint;
  }
  EXPECT_EQ(complaintOf([] { return TarnGrpc_open(nullptr); }), "no options");
  int stranger = 0;
  EXPECT_EQ(complaintOf([&] { return handle(&stranger); }), "opt does not come from TarnGrpc_open");
  EXPECT_EQ(call(&stranger), TARN_STATUS_INVALID);
  EXPECT_EQ(oneway(&stranger), TARN_STATUS_INVALID);
  EXPECT_EQ(complaintOf([] { return RPC_GetRpcInvoke(nullptr, nullptr); }), "no server address");
}

TEST_F(GrpcSetup, OptionsOfOtherVersionsAreTakenUnlessTheySetWhatIsNotKnown) {
  struct {
    TarnGrpcOptions known;
    u8 later[4096];
  } options = {};
  options.known.target = target.c_str();
  const auto open = [&](u32 size) {
    options.known.size = size;
    return TarnGrpc_open(&options.known);
  };
  const u32 first = 80, own = sizeof options.known;
  for (const u32 size : {0u, 8u, first - 1, 4097u, ~0u}) {
    EXPECT_EQ(complaintOf([&] { return open(size); }),
              "size is '" + std::to_string(size) + "', not sizeof(TarnGrpcOptions)");
  }
  options.later[8] = 1;
  for (const u32 size : {first, own, own + 8}) EXPECT_NE(open(size), nullptr) << size;
  EXPECT_EQ(complaintOf([&] { return open(own + 9); }),
            "size is '" + std::to_string(own + 9) +
                "': of a later version, some of whose members are set and not known here");
}

TEST_F(GrpcSetup, ServiceConfigurationsThatCannotWorkAreRefused) {
  const std::pair<std::string, std::string> rows[] = {
      {"{",
       "is refused by gRPC: INVALID_ARGUMENT: JSON parsing failed: [JSON parse error at index 0]"},
      {"5",
       "is refused by gRPC: INVALID_ARGUMENT: errors validating service config: "
       "[field: error:is not an object]"},
      {R"({"loadBalancingPolicy": "one\u000atwo"})",
       "is refused by gRPC: INVALID_ARGUMENT: errors validating service config: "
       "[field:loadBalancingPolicy error:unknown LB policy \"one\\ntwo\"]"},
      {R"({"loadBalancingConfig": [{"ring_hash\u005fexperimental": {}}]})", "has a backslash"},
      {R"({"loadBalancingConfig": [{"ring_hash_experimental": {}}]})",
       "names an experimental policy"},
      {R"({"methodConfig": [{"name": [{}], "timeout": "1s"}], "loadBalancingConfg" : []})",
       "has the member 'loadBalancingConfg', which gRPC would ignore"},
      {R"({"healthCheckConfig": {"serviceName": ""}})",
       "has healthCheckConfig, which requires round_robin"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(complaintOf([&] { return open({.serviceConfig = row.first.c_str()}); }),
              "the service configuration " + row.second);
  }
  EXPECT_NE(open({.serviceConfig = R"({"loadBalancingPolicy": "ROUND_ROBIN", "methodConfig": [],
                                       "healthCheckConfig": {"serviceName": ""}})"}),
            nullptr);
}

TEST_F(GrpcSetup, CallsThatLackSomethingAreRefused) {
  IdlMsgDesc desc;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  const MethodId named = {"MqcFesIntf", "method"}, nameless = {"MqcFesIntf", nullptr};
  for (const MethodId* method : {&named, &nameless, static_cast<const MethodId*>(nullptr)}) {
    EXPECT_EQ(RPC_IdlMsgOnewayCall(open(), nullptr, method, &desc), TARN_STATUS_INVALID);
    EXPECT_EQ(TarnGrpc_lastError(), std::string(method == &named ? "method" : "a call") +
                                        ": no handle, no request, or another argument is missing");
  }
}

TEST_F(GrpcSetup, LastErrorsAreAThreadsOwn) {
  complaintOf([] { return TarnGrpc_open(nullptr); });
  std::thread([] {
    EXPECT_STREQ(TarnGrpc_lastError(), "");
    complaintOf([] { return RPC_GetRpcInvoke(nullptr, nullptr); });
  }).join();
  EXPECT_STREQ(TarnGrpc_lastError(), "no options");
}

TEST_F(GrpcSetup, ErrorsOfGrpcAreReportedOnceInARow) {
  call(open());
  using Log = void (*)(const char* file, int line, int severity, const char* format, ...);
  const auto log = reinterpret_cast<Log>(dlsym(RTLD_DEFAULT, "gpr_log"));
  ASSERT_NE(log, nullptr);
  testing::internal::CaptureStderr();
  for (const char* what : {"one", "one", "two"}) log("file", 1, 2, "%s", what);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "tarn_grpc: one\ntarn_grpc: two\n");
}

TEST_F(GrpcSetup, NoProxyOfTheEnvironmentIsAsked) {
  setenv("grpc_proxy", "http://127.0.0.1:2", 1);  // before all other variables
  setenv("no_grpc_proxy", "none", 1);
  EXPECT_EQ(call(open({.target = "dns:///127.0.0.1:1"})), TARN_GRPC_TRANSPORT + 14);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "127.0.0.1:1:", TarnGrpc_lastError());
  unsetenv("grpc_proxy");
}

TEST_F(GrpcSetup, StatusTextsNameWhatHappened) {
  const std::pair<u32, const char*> rows[] = {{0, "success"},
                                              {1000, "a service's status"},
                                              {1001, "CANCELLED:"},
                                              {1004, "DEADLINE_EXCEEDED:"},
                                              {1016, "UNAUTHENTICATED:"},
                                              {1017, "a service's status"},
                                              {65536 + 1014, "a service's status"},
                                              {TARN_GRPC_NOT_SENT + 14, "not sent: UNAVAILABLE:"},
                                              {TARN_GRPC_NOT_SENT + 17, "a service's status"},
                                              {TARN_STATUS_NO_RESOURCES, "no memory"}};
  for (const auto& [status, text] : rows) {
    EXPECT_EQ(std::string(TarnGrpc_statusText(status)).find(text), 0u) << status;
  }
}

TEST_F(GrpcSetup, CertificatesAreAskedOfBothSides) {
  ASSERT_EQ(exitStatus(start({SERVICE_DIR "/certificates.sh", dir})), 0);
  std::filesystem::current_path(dir);
  const TarnGrpcOptions good = {
      .ca = "ca.crt", .cert = "client.crt", .key = "client.key", .serverName = "mqc.test"};
  TarnGrpcOptions wrongCa = good, wrongClient = good, noClient = good, wrongName = good;
  wrongCa.ca = "stranger.crt";
  wrongClient.cert = "forged.crt";
  wrongClient.key = "forged.key";
  noClient.cert = noClient.key = nullptr;
  wrongName.serverName = "other.test";
  std::filesystem::copy_file("ca.crt", "cut.crt");
  std::filesystem::resize_file("cut.crt", 300);
  TarnGrpcOptions cut = good, weak = good, strangersKey = good, noKey = good;
  weak.cert = "weak.crt";
  weak.key = "weak.key";
  cut.ca = "cut.crt";
  strangersKey.key = "forged.key";
  noKey.key = "client.crt";
  const std::pair<TarnGrpcOptions, std::string> refused[] = {
      {cut, "ca is 'cut.crt', which holds a damaged certificate: bad end line"},
      {weak, "cert is 'weak.crt', which holds a certificate that is refused: ee key too small"},
      {strangersKey, "key is 'forged.key', which holds the key of another certificate"},
      {noKey, "key is 'client.crt', which holds no private key that can be read"}};
  for (const auto& row : refused) {
    EXPECT_EQ(complaintOf([&] { return open(row.first); }), row.second);
  }

  serve("3", "service");
  EXPECT_EQ(call(open(good)), 3u) << TarnGrpc_lastError();
  for (const TarnGrpcOptions& wrong : {wrongCa, wrongClient, noClient, wrongName, {}}) {
    EXPECT_EQ(call(open(wrong)), unavailable);
  }
  stop();
  serve("3", "expired");
  EXPECT_EQ(call(open(good)), unavailable);
}

}  // namespace
