#ifndef SERVICE_PAGE_H
#define SERVICE_PAGE_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "service/listener.h"
#include "service/page_server.h"

namespace service {

/// The page that shows calls as they arrive, served on threads of its own: one accepts connections,
/// a few answer. Its connections are few, and take reserved descriptors: what the service needs is
/// not theirs.
class Page {
 public:
  /// The calls must outlive the page.
  explicit Page(const RecentCalls& calls) : server_(calls) {}
  /// Ends.
  ~Page();
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  /// Serves HOST:PORT. Returns why not, or nothing.
  std::string open(const std::string& address);
  /// Its address for a browser.
  std::string url() const { return "http://" + listener_.bound() + '/'; }

 private:
  void accept();
  void admit(int socket);
  void answer();
  int next();
  void leave(int socket);

  PageServer server_;
  Listener listener_;
  int wake_ = -1;  // readable at the end
  std::vector<std::thread> threads_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::deque<int> waiting_;
  std::set<int> answered_;  // sockets that a thread has
  bool isEnding_ = false;
};

}  // namespace service

#endif
