// Connections that outlive what they began with: certificates are replaced, services come and go.

#include <array>
#include <chrono>
#include <iterator>
#include <thread>

#include "grpc/service.h"

namespace {

constexpr u32 unauthenticated = TARN_GRPC_TRANSPORT + 16;

/// Tries again, for a minute at most, until the condition holds.
template <class Condition>
void expectSoon(const char* what, Condition holds) {
  const auto last = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!holds()) {
    ASSERT_LT(std::chrono::steady_clock::now(), last) << what;
    usleep(50'000);
  }
}

class GrpcCertificates : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(exitStatus(start({SERVICE_DIR "/certificates.sh", dir})), 0);
    std::filesystem::create_directory(dir / "used");
    std::filesystem::current_path(dir / "used");
    use("ca", "client");
  }

  void TearDown() override {
    std::filesystem::current_path("/");
    ServiceTest::TearDown();
  }

  /// Replaces a file of the channel as renewals do: the new one is complete when it appears.
  void put(const std::string& from, const std::string& to) const {
    std::filesystem::copy_file(dir / from, dir / "new");
    std::filesystem::rename(dir / "new", dir / "used" / to);
  }
  void use(const std::string& authority, const std::string& pair) const {
    put(authority + ".crt", "ca.crt");
    put(pair + ".key", "own.key");
    put(pair + ".crt", "own.crt");
  }
  void* openWithFiles() const {
    return open({.ca = "ca.crt", .cert = "own.crt", .key = "own.key", .serverName = "mqc.test"});
  }
  bool isUnavailable(void* opt, const char* reason) const {
    return call(opt) == unavailable &&
           std::string(TarnGrpc_lastError()).find(reason) != std::string::npos;
  }
  /// Starts the service anew, so that it is connected to anew.
  void serveAnew(const std::string& certificate) {
    stop();
    serve("3", certificate);
  }
};

TEST_F(GrpcCertificates, ReplacedFilesAreUsedForNewConnections) {
  serve("3", "service");
  void* const opt = openWithFiles();
  std::filesystem::current_path("/");  // as a daemon does
  std::atomic<bool> isOver = false;
  std::atomic<long> calls = 0, failed = 0;
  std::thread caller([&] {
    for (; !isOver; ++calls) failed += call(opt) != 3 ? 1 : 0;
  });
  expectSoon("calls before", [&] { return calls > 100; });
  use("stranger", "forged");
  const long before = calls;
  expectSoon("calls after", [&] { return calls > before + 100; });
  isOver = true;
  caller.join();
  EXPECT_EQ(failed, 0);

  std::filesystem::rename(dir / "ca.crt", dir / "old.crt");
  std::filesystem::copy_file(dir / "stranger.crt", dir / "ca.crt");  // what the service trusts
  serveAnew("forged");
  expectSoon("the new authority's service", [&] { return call(opt) == 3; });
  std::filesystem::rename(dir / "old.crt", dir / "ca.crt");
  serveAnew("service");
  expectSoon("the old authority's service",
             [&] { return isUnavailable(opt, "certificate verify failed"); });
}

TEST_F(GrpcCertificates, FilesThatDoNotWorkAreNotUsedAndNotFatal) {
  serve("3", "service");
  void* const opt = openWithFiles();
  EXPECT_EQ(call(opt), 3u) << TarnGrpc_lastError();
  const auto isRefused = [&] {
    serveAnew("service");
    return isUnavailable(opt, "Failed to create security handshaker");
  };
  put("forged.key", "own.key");
  expectSoon("the key of another certificate", isRefused);
  use("ca", "client");
  expectSoon("whole again", [&] { return call(opt) == 3; });
  testing::internal::CaptureStderr();
  std::filesystem::remove(dir / "used/ca.crt");
  expectSoon("no authority", isRefused);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "Unable to get latest root certificates", said);
  EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "Reading file", said) << "at every look";
  use("ca", "client");
  expectSoon("there again", [&] { return call(opt) == 3; });
}

TEST_F(GrpcCertificates, NamesMustBeTheServices) {
  void* const opt = openWithFiles();
  for (const char* name : {"wide", "address"}) {
    serveAnew(name);
    u32 status = unavailable;
    expectSoon("connected", [&] { return (status = call(opt)) != unavailable; });
    EXPECT_EQ(status, unauthenticated) << name;
  }
  EXPECT_EQ(received().size(), 0u);
}

/// Three services behind one target.
class GrpcBalance : public ServiceTest {
 protected:
  struct Place {
    std::filesystem::path dir;
    std::string address;
    pid_t pid = 0;
  };

  void SetUp() override {
    ServiceTest::SetUp();
    // Addresses of the loopback that no other process uses.
    const std::string network = "127." + std::to_string(getpid() / 250 % 250 + 1) + '.' +
                                std::to_string(getpid() % 250 + 1) + '.';
    for (std::size_t i = 0; i < places_.size(); ++i) {
      const std::string number = std::to_string(i + 1);
      places_[i] = {dir / number, network + number + ":50051"};
      std::filesystem::create_directory(places_[i].dir);
      targets_ += (i == 0 ? "ipv4:" : ",") + places_[i].address;
    }
  }
  void TearDown() override {
    for (Place& place : places_) end(place);
    ServiceTest::TearDown();
  }

  void begin(Place& place, const std::string& answer = "0") {
    place.pid = startService(place.dir, answer, place.address);
  }
  static void end(Place& place) {
    if (place.pid == 0) return;
    kill(place.pid, SIGKILL);
    waitpid(std::exchange(place.pid, 0), nullptr, 0);
  }
  void* openAll(const char* config) const {
    return open({.target = targets_.c_str(), .waitForReady = 1, .serviceConfig = config});
  }
  /// The number of calls that a service has received.
  static long callsOf(const Place& place) {
    std::ifstream in(place.dir / "received");
    return std::count(std::istreambuf_iterator<char>(in), {}, '\n');
  }
  void expectCalls(void* opt, const std::vector<std::size_t>& which) const {
    std::vector<long> before;
    for (const std::size_t i : which) before.push_back(callsOf(places_[i]));
    expectSoon("calls of each", [&] {
      call(opt);
      for (std::size_t i = 0; i < which.size(); ++i) {
        if (callsOf(places_[which[i]]) < before[i] + 5) return false;
      }
      return true;
    });
  }

  std::array<Place, 3> places_;

 private:
  std::string targets_;
};

TEST_F(GrpcBalance, CallsGoToServicesThatAreThere) {
  for (Place& place : places_) begin(place);
  void* const opt = openAll(R"({"loadBalancingConfig": [{"round_robin": {}}]})");
  expectCalls(opt, {0, 1, 2});
  end(places_[1]);
  expectCalls(opt, {0, 2});
  int failed = 0;
  for (int i = 0; i < 50; ++i) failed += call(opt) != 0 ? 1 : 0;
  EXPECT_EQ(failed, 0) << "of calls that began when the service had gone";
  begin(places_[1]);
  expectCalls(opt, {0, 1, 2});
}

TEST_F(GrpcBalance, UnwellServicesGetNoCallsIfHealthIsChecked) {
  begin(places_[0]);
  begin(places_[1], "unwell");
  begin(places_[2]);
  void* const opt = openAll(R"({"loadBalancingConfig": [{"round_robin": {}}],
                                "healthCheckConfig": {"serviceName": ""}})");
  expectCalls(opt, {0, 2});
  EXPECT_EQ(callsOf(places_[1]), 0);
  expectCalls(openAll(R"({"loadBalancingConfig": [{"round_robin": {}}]})"), {1});
}

using GrpcServiceConfig = ServiceTest;

TEST_F(GrpcServiceConfig, TimeoutsHoldAndNothingIsSentTwice) {
  serve("slow");
  EXPECT_EQ(call(open({.serviceConfig = R"({"methodConfig": [{"timeout": "0.01s", "name": [
      {"service": "MqcFesIntf", "method": "sendClassifierTemplate"}]}]})"})),
            TARN_GRPC_TRANSPORT + 4);
  stop();
  std::filesystem::remove(dir / "received");
  serve("refuse");
  EXPECT_EQ(call(open({.serviceConfig = R"({"methodConfig": [{"name": [{}], "retryPolicy": {
      "maxAttempts": 3, "initialBackoff": "0.01s", "maxBackoff": "0.01s", "backoffMultiplier": 1,
      "retryableStatusCodes": ["PERMISSION_DENIED"]}}]})"})),
            TARN_GRPC_TRANSPORT + 7);
  EXPECT_EQ(received().size(), 1u);
}

}  // namespace
