#include "service/page_server.h"

#include <httplib.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include "service/loopback_address.h"

namespace service {
namespace {

using Clock = std::chrono::steady_clock;

/// The longest request with its headers, in bytes.
constexpr std::size_t longestRequest = 16384;

/// A connection with one deadline for all of it.
class Connection final : public httplib::Stream {
 public:
  Connection(int socket, Clock::time_point deadline) : socket_(socket), deadline_(deadline) {}

  bool is_readable() const override { return true; }
  bool is_writable() const override { return true; }
  ssize_t read(char* bytes, size_t size) override;
  ssize_t write(const char* bytes, size_t size) override;
  void get_remote_ip_and_port(std::string&, int&) const override {}
  void get_local_ip_and_port(std::string&, int&) const override {}
  socket_t socket() const override { return socket_; }

 private:
  bool isReady(short event) const;

  int socket_;
  Clock::time_point deadline_;
  std::string arrived_;
  std::size_t taken_ = 0;  // of what has arrived
};

/// Waits until the socket is ready; false at the deadline.
bool Connection::isReady(short event) const {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
  pollfd waited{socket_, event, 0};
  const auto time = std::max(left, std::chrono::milliseconds(0));
  return ::poll(&waited, 1, static_cast<int>(time.count())) > 0;
}

/// The reader asks for single bytes.
ssize_t Connection::read(char* bytes, size_t size) {
  if (taken_ == arrived_.size()) {
    char some[4096];
    if (arrived_.size() >= longestRequest || !isReady(POLLIN)) return -1;
    const ssize_t received = ::recv(socket_, some, sizeof some, 0);
    if (received <= 0) return received;
    arrived_.append(some, static_cast<std::size_t>(received));
  }
  const std::size_t copied = arrived_.copy(bytes, size, taken_);
  taken_ += copied;
  return static_cast<ssize_t>(copied);
}

/// Writes all of it.
ssize_t Connection::write(const char* bytes, size_t size) {
  for (std::size_t written = 0; written < size;) {
    if (!isReady(POLLOUT)) return -1;
    const ssize_t sent = ::send(socket_, bytes + written, size - written, MSG_NOSIGNAL);
    if (sent < 0 && errno != EAGAIN) return -1;
    written += static_cast<std::size_t>(std::max<ssize_t>(sent, 0));
  }
  return static_cast<ssize_t>(size);
}

bool isToLoopback(const httplib::Request& request) {
  if (request.get_header_value_count("Host") != 1) return false;
  const std::string host = request.get_header_value("Host");
  const auto address = readHostAndPort(host);
  return isLoopback(address ? address->host : host);
}

}  // namespace

class PageServer::Http final : public httplib::Server {
 public:
  explicit Http(const RecentCalls& calls) : answers_(calls) {
    set_default_headers({{"Content-Security-Policy", PageAnswers::policy()},
                         {"Cache-Control", "no-store"},
                         {"Cross-Origin-Resource-Policy", "same-origin"},
                         {"Referrer-Policy", "no-referrer"},
                         {"X-Content-Type-Options", "nosniff"}});
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      const PageAnswer answer = answerTo(request);
      response.status = answer.status;
      response.set_content(answer.body, answer.type);
      return HandlerResponse::Handled;
    });
  }

  void serve(Connection& connection) {
    bool isClosed = false;
    process_request(connection, true, isClosed, [](httplib::Request& request) {
      request.headers.erase("Accept-Encoding");  // compression takes longer than it saves here
      request.headers.erase("Expect");
      request.ranges.clear();
    });
  }

 private:
  PageAnswer answerTo(const httplib::Request& request) const {
    if (!isToLoopback(request)) return PageAnswers::refusal(403, "not a loopback address");
    if (request.method != "GET") return PageAnswers::refusal(405, "GET alone is answered");
    if (request.path == "/") return PageAnswers::page();
    if (request.path == "/calls") return answers_.changes(request.get_param_value("after"));
    if (request.path == "/call") return answers_.call(request.get_param_value("number"));
    return PageAnswers::refusal(404, "there is nothing here");
  }

  PageAnswers answers_;
};

PageServer::PageServer(const RecentCalls& calls) : http_(std::make_unique<Http>(calls)) {}

PageServer::~PageServer() = default;

void PageServer::serve(int socket, std::chrono::milliseconds patience) {
  try {
    Connection connection(socket, Clock::now() + patience);
    http_->serve(connection);
  } catch (const std::exception&) {
    // Short of memory: the browser asks again.
  }
}

}  // namespace service
