#include "service/certificates.h"

#include <flatbuffers/util.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <filesystem>
#include <memory>

#include "platform/common/report.h"

namespace service {
namespace {

template <auto release>
struct Release {
  template <class T>
  void operator()(T* object) const {
    release(object);
  }
};
using Bio = std::unique_ptr<BIO, Release<BIO_free>>;
using Certificate = std::unique_ptr<X509, Release<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;

Bio reader(const std::string& text) {
  return Bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

/// A key that is encrypted has no password: nobody is asked for one.
char noPassword[] = "";

/// Reads all certificates and returns the first; none when there is none or one is damaged.
Certificate firstCertificate(const std::string& text) {
  const Bio from = reader(text);
  Certificate first;
  ERR_clear_error();
  while (Certificate next{PEM_read_bio_X509(from.get(), nullptr, nullptr, noPassword)}) {
    if (first == nullptr) first = std::move(next);
  }
  const bool atEnd = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
  ERR_clear_error();
  return atEnd ? std::move(first) : nullptr;
}

std::string contents(const std::string& path) {
  std::string text;
  if (!path.empty() && !flatbuffers::LoadFile(path.c_str(), true, &text)) text.clear();
  return text;
}

/// Reading a pipe again would wait, or empty it.
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
  const auto& [cert, key, ca] = certificates;
  for (const auto& [path, text] :
       {std::pair(options.cert, cert), std::pair(options.key, key), std::pair(options.ca, ca)}) {
    if (!path.empty() && text.empty()) return path + ": cannot be read, or is empty";
  }
  if (options.cert.empty()) return "";
  const Certificate own = firstCertificate(cert);
  if (own == nullptr) return options.cert + ": no certificate, or a damaged one";
  const Key ownKey(PEM_read_bio_PrivateKey(reader(key).get(), nullptr, nullptr, noPassword));
  if (ownKey == nullptr) return options.key + ": no private key, a damaged or an encrypted one";
  const bool isPair = X509_check_private_key(own.get(), ownKey.get()) == 1;
  ERR_clear_error();
  if (!isPair) return options.key + ": not the key of the certificate in " + options.cert;
  if (ca.empty() || firstCertificate(ca) != nullptr) return "";
  return options.ca + ": no certificate, or a damaged one";
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
    platform::report("%s; the former certificates stay in use", fault.c_str());
    return std::nullopt;
  }
  return inUse_ = seen_;
}

}  // namespace service
