#ifndef SERVICE_PAGE_ANSWERS_H
#define SERVICE_PAGE_ANSWERS_H

#include <chrono>
#include <cstdint>
#include <string>

#include "service/recent_calls.h"

namespace service {

/// What a request over HTTP is answered.
struct PageAnswer {
  int status;  ///< of HTTP
  const char* type;
  std::string body;
};

/// The answers behind the page: the page itself, what its script asks for, and refusals. Safe from
/// any thread.
class PageAnswers {
 public:
  /// The calls must outlive the answers.
  explicit PageAnswers(const RecentCalls& calls) : calls_(calls) {}

  /// The page.
  static PageAnswer page();
  /// The policy that the browser is to keep to: no source but the page's own script and look.
  static std::string policy();
  /// The calls that have changed since a change, and the counts, as JSON.
  PageAnswer changes(const std::string& after) const;
  /// The bytes and fields of a call as a section of the page.
  PageAnswer call(const std::string& number) const;
  static PageAnswer refusal(int status, const std::string& words);

 private:
  const RecentCalls& calls_;
  std::chrono::system_clock::time_point started_ = std::chrono::system_clock::now();
};

}  // namespace service

#endif
