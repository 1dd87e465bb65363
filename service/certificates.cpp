#include "service/certificates.h"

#include <flatbuffers/util.h>

#include <filesystem>

#include "shared/report.h"
#include "shared/tls.h"

namespace service {
namespace {

std::string contents(const std::string& path) {
  std::string text;
  if (!path.empty() && !flatbuffers::LoadFile(path.c_str(), true, &text)) text.clear();
  return text;
}

/// Reading a pipe again would block, or empty it.
bool canBeReadAgain(const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  return path.empty() || !exists(status) || is_regular_file(status);
}

}  // namespace

Certificates readCertificates(const Options& options) {
  return {contents(options.cert), contents(options.key), contents(options.ca)};
}

std::string faultOf(const Options& options, const Certificates& certificates) {
  const auto fault = [](const std::string& path, const std::string& text, const auto& check) {
    if (path.empty()) return std::string();
    const std::string words = text.empty() ? "cannot be read, or is empty" : check(text);
    return words.empty() ? words : path + ": " + words;
  };
  std::string found = fault(options.cert, certificates.cert, shared::ownCertificatesFault);
  if (found.empty()) found = fault(options.ca, certificates.ca, shared::certificatesFault);
  if (!found.empty()) return found;
  return fault(options.key, certificates.key,
               [&](const std::string& text) { return shared::keyFault(text, certificates.cert); });
}

std::optional<Certificates> CertificateWatch::look() {
  for (const std::string& path : {options_.cert, options_.key, options_.ca}) {
    if (!canBeReadAgain(path)) return std::nullopt;
  }
  Certificates now = readCertificates(options_);
  if (now != seen_) {
    seen_ = std::move(now);
    judged_ = false;
    return std::nullopt;
  }
  if (judged_) return std::nullopt;
  judged_ = true;
  if (seen_ == inUse_) return std::nullopt;
  const std::string fault = faultOf(options_, seen_);
  if (!fault.empty()) {
    shared::report("%s; the former certificates stay in use", fault.c_str());
    return std::nullopt;
  }
  return inUse_ = seen_;
}

}  // namespace service
