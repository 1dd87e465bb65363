#include "service/serving.h"

#include <grpc/grpc.h>

#include <chrono>
#include <deque>
#include <memory>

#include "service/certificates.h"
#include "service/complaints.h"
#include "service/gate.h"
#include "service/journal.h"
#include "service/listener.h"
#include "service/page.h"
#include "service/server.h"
#include "service/timing.h"
#include "shared/printable.h"
#include "shared/report.h"

namespace service {
namespace {

using shared::report;
using Clock = std::chrono::steady_clock;

/// Servers that wait for their connections to end; more are needed only if certificates change
/// every few seconds.
constexpr std::size_t mostFormer = 16;

/// Servers, of which the last takes new connections. Connections from before a renewal of the
/// certificates stay with the former one, which ends when the last of them has reached its age.
class Servers {
 public:
  Servers(const reader::Schema& schema, Journal& journal) : schema_(schema), journal_(journal) {
    // Never undone: gRPC's own end waits up to ten seconds after a write that had to wait.
    grpc_init();
  }

  bool start(const Certificates& certificates);
  void take(int socket) { current_->take(socket); }
  void end();

 private:
  const reader::Schema& schema_;
  Journal& journal_;
  struct Former {
    std::unique_ptr<Server> server;
    Clock::time_point since;
  };

  void endFormer();

  std::unique_ptr<Server> current_;
  std::deque<Former> former_;  // the oldest first
};

bool Servers::start(const Certificates& certificates) {
  auto next = std::make_unique<Server>(schema_, journal_);
  if (!next->start(certificates)) return false;
  if (current_ != nullptr) former_.push_back({std::move(current_), Clock::now()});
  current_ = std::move(next);
  endFormer();
  return true;
}

void Servers::endFormer() {
  constexpr auto age = connectionAge * 11 / 10 + connectionGrace + endTime;  // gRPC varies the age
  while (!former_.empty() &&
         (former_.size() > mostFormer || Clock::now() - former_.front().since > age)) {
    former_.front().server->end();
    former_.pop_front();
  }
}

void Servers::end() {
  for (Former& former : former_) former.server->end();
  current_->end();
}

/// The service's main loop, on one thread.
class Loop {
 public:
  Loop(const Options& options, const Certificates& certificates, const Listener& listener,
       Servers& servers)
      : secure_(!options.cert.empty()),
        servers_(servers),
        watch_(options, certificates),
        gate_(listener.sockets(), [this](int socket) { admit(socket); }) {}

  /// Returns false when no connection can be accepted any more.
  bool run(const Signals& signals, Journal& journal, Output& lines);

 private:
  void admit(int socket);
  void renew();

  bool secure_;
  Servers& servers_;
  CertificateWatch watch_;
  Clock::time_point looked_ = Clock::now();
  Gate gate_;
};

bool Loop::run(const Signals& signals, Journal& journal, Output& lines) {
  const int complaints = reportComplaints();
  for (;;) {
    const bool isWaiting = nameComplaints();
    const std::chrono::milliseconds longest(isWaiting ? 10 : 500);
    if (!gate_.turn({signals.descriptor(), complaints}, longest)) return false;
    const Wish wish = signals.next();
    if (wish == Wish::end) return true;
    if (wish == Wish::report) lines.add(journal.totals());
    if (secure_ && Clock::now() - looked_ >= watchTime) renew();
  }
}

void Loop::admit(int socket) {
  if (secure_) noteHandshake(socket);
  servers_.take(socket);
}

void Loop::renew() {
  looked_ = Clock::now();
  const auto renewed = watch_.look();
  if (!renewed) return;
  report(servers_.start(*renewed) ? "new certificates are in use"
                                  : "new certificates are refused; the former ones stay in use");
}

bool cannot(const char* what, const std::string& address, const std::string& reason) {
  report("cannot %s %s: %s", what, address.c_str(), reason.c_str());
  return false;
}

bool cannotListen(const std::string& address, const std::string& reason) {
  return cannot("listen on", address, reason);
}

}  // namespace

bool serveUntilEnded(const reader::Schema& schema, const Options& options, script::Script& rules,
                     const Signals& signals, Output& lines) {
  RecentCalls recent;
  const bool hasPage = !options.page.empty();
  Journal journal(schema, options, rules, lines, hasPage ? &recent : nullptr);
  if (!journal.open()) return false;
  const Certificates certificates = readCertificates(options);
  if (const std::string fault = faultOf(options, certificates); !fault.empty()) {
    report("%s", fault.c_str());
    return false;
  }
  auto listener = std::make_unique<Listener>();
  const std::string fault = listener->open(options.listen);
  if (!fault.empty()) return cannotListen(options.listen, fault);
  Servers servers(schema, journal);
  if (!servers.start(certificates)) return cannotListen(options.listen, firstComplaint());
  Page page(recent);
  if (hasPage) {
    const std::string why = page.open(options.page);
    if (!why.empty()) return cannot("serve the page at", options.page, why);
  }
  lines.add("listening on " + shared::printable(listener->bound()));
  if (hasPage) lines.add("page at " + page.url());
  const bool well = Loop(options, certificates, *listener, servers).run(signals, journal, lines);
  listener.reset();
  Signals::letGo();  // a second signal ends a service that hangs
  servers.end();
  lines.addLast(journal.totals());
  return well;
}

}  // namespace service
