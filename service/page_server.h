#ifndef SERVICE_PAGE_SERVER_H
#define SERVICE_PAGE_SERVER_H

#include <chrono>
#include <memory>

#include "service/page_answers.h"

namespace service {

/// Serves connections over HTTP, a request each: GET alone, and only to who calls this machine by a
/// loopback address, lest a page from elsewhere gives its own name that address. Safe from any
/// thread.
class PageServer {
 public:
  /// The calls must outlive the server.
  explicit PageServer(const RecentCalls& calls);
  ~PageServer();
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;

  /// Reads a request from a connected, non-blocking socket and answers it; gives up when the peer
  /// takes longer than that. Does not close the socket.
  void serve(int socket, std::chrono::milliseconds patience);

 private:
  class Http;
  std::unique_ptr<Http> http_;
};

}  // namespace service

#endif
