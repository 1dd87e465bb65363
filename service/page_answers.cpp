#include "service/page_answers.h"

#include <openssl/evp.h>

#include <nlohmann/json.hpp>
#include <string_view>

#include "page/section.h"
#include "reader/walk.h"
#include "service/number.h"
#include "service/page_text.h"
#include "shared/status_text.h"

namespace service {
namespace {

using nlohmann::json;

constexpr std::uint32_t anyStatus = 1;  // of a service
const char html[] = "text/html; charset=utf-8";

std::int64_t microsecondsOf(std::chrono::system_clock::time_point time) {
  using std::chrono::microseconds;
  return std::chrono::duration_cast<microseconds>(time.time_since_epoch()).count();
}

/// Whether a status has a meaning of its own, unlike those that are the service's.
bool isNamed(std::uint32_t status) {
  return status != 0 &&
         std::string_view(shared::grpcStatusText(status)) != shared::grpcStatusText(anyStatus);
}

json jsonOf(const RecentCall& call) {
  json object = {{"number", call.number},   {"time", microsecondsOf(call.time)},
                 {"variant", call.variant}, {"kind", call.kind},
                 {"bytes", call.size},      {"isOpen", !call.end}};
  if (call.method != nullptr) object["method"] = call.method->name;
  if (call.method == nullptr) object["path"] = call.path;
  if (!call.end || !call.end->status) return object;
  object["status"] = *call.end->status;
  object["isNamed"] = isNamed(*call.end->status);
  object["meaning"] = shared::grpcStatusText(*call.end->status);
  object["microseconds"] = call.end->after.count();
  return object;
}

json jsonOf(const RecentCalls::Counts& counts) {
  json rows = json::array();
  for (const auto& [method, count] : counts) {
    rows.push_back({{"method", method != nullptr ? json(method->name) : json()},
                    {"calls", count.calls},
                    {"underWay", count.underWay},
                    {"failed", count.failed}});
  }
  return rows;
}

/// The page's script, as it stands in the page.
std::string_view script() {
  constexpr std::string_view begin = "<script>", end = "</script>";
  const std::string_view page = pageText;
  const std::size_t from = page.find(begin) + begin.size();
  return page.substr(from, page.find(end) - from);
}

std::string sectionOf(const RecentCalls::Found& found) {
  const reader::Schema::Method& method = *found.call.method;
  page::Message message{"Call " + std::to_string(found.call.number) + ": " + method.name,
                        &method,
                        *found.message,
                        {}};
  const auto fault = reader::walk(method, message.bytes, message.items);
  return fault ? section(message, *fault) : section(message, found.call.number);
}

}  // namespace

PageAnswer PageAnswers::page() {
  return {200, html, pageText};
}

std::string PageAnswers::policy() {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  EVP_Digest(script().data(), script().size(), digest, &size, EVP_sha256(), nullptr);
  unsigned char text[2 * EVP_MAX_MD_SIZE];
  const int length = EVP_EncodeBlock(text, digest, static_cast<int>(size));
  return "default-src 'none'; script-src 'sha256-" + std::string(text, text + length) +
         "'; style-src 'unsafe-inline'; connect-src 'self'; img-src data:; base-uri 'none'; "
         "form-action 'none'; frame-ancestors 'none'";
}

PageAnswer PageAnswers::changes(const std::string& after) const {
  std::uint64_t change = 0;
  if (!readNumber(after, change)) return refusal(400, "after is no number");
  const RecentCalls::News news = calls_.since(change);
  json latest = json::array();
  for (const RecentCall& call : news.changed) latest.push_back(jsonOf(call));
  const json all = {{"service", microsecondsOf(started_)},
                    {"calls", news.calls},
                    {"change", news.change},
                    {"latest", std::move(latest)},
                    {"counts", jsonOf(news.counts)}};
  return {200, "application/json", all.dump(-1, ' ', false, json::error_handler_t::replace)};
}

PageAnswer PageAnswers::call(const std::string& number) const {
  std::uint64_t wanted = 0;
  if (!readNumber(number, wanted)) return refusal(400, "number is no number");
  const auto found = calls_.find(wanted);
  if (!found) return refusal(404, "Call " + number + " is not kept any more.");
  if (found->call.method == nullptr || !found->message) {
    return {200, html, "<p>Call " + std::to_string(wanted) + ": its request is not kept.</p>\n"};
  }
  return {200, html, sectionOf(*found)};
}

PageAnswer PageAnswers::refusal(int status, const std::string& words) {
  return {status, "text/plain; charset=utf-8", words + '\n'};
}

}  // namespace service
