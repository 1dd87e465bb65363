#include "shared/tls.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>

namespace shared {
namespace {

template <auto Free>
struct Freed {
  template <class Object>
  void operator()(Object* object) const {
    Free(object);
  }
};

using Bio = std::unique_ptr<BIO, Freed<BIO_free_all>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Context = std::unique_ptr<SSL_CTX, Freed<SSL_CTX_free>>;

/// Begins to use OpenSSL. It clears up after itself at exit otherwise, and calls still come then.
void begin() {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  ERR_clear_error();
}

Bio reader(const std::string& text) {
  return Bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

Certificate nextCertificate(const Bio& bio) {
  return Certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
}

/// What OpenSSL's last error says, which is then forgotten.
std::string lastError() {
  const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
  ERR_clear_error();
  return reason != nullptr ? reason : "unreadable";
}

/// Nobody is asked for a password.
int noPassword(char*, int, int, void*) {
  return 0;
}

}  // namespace

std::string certificatesFault(const std::string& pem) {
  begin();
  const Bio bio = reader(pem);
  int count = 0;
  while (nextCertificate(bio)) ++count;
  const bool atEnd = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
  const std::string error = lastError();
  if (count > 0 && atEnd) return "";
  return atEnd ? "holds no certificate" : "holds a damaged certificate: " + error;
}

std::string ownCertificatesFault(const std::string& pem) {
  std::string fault = certificatesFault(pem);
  if (!fault.empty()) return fault;
  const Context context(SSL_CTX_new(TLS_method()));
  const Certificate own = nextCertificate(reader(pem));
  const bool isTaken = context && SSL_CTX_use_certificate(context.get(), own.get()) == 1;
  const std::string error = lastError();
  return isTaken ? "" : "holds a certificate that is refused: " + error;
}

std::string keyFault(const std::string& pem, const std::string& certificates) {
  begin();
  const Key key(PEM_read_bio_PrivateKey(reader(pem).get(), nullptr, noPassword, nullptr));
  const Certificate certificate = nextCertificate(reader(certificates));
  const bool belongs = key && X509_check_private_key(certificate.get(), key.get()) == 1;
  ERR_clear_error();
  if (!key) return "holds no private key that can be read";
  return belongs ? "" : "holds the key of another certificate";
}

}  // namespace shared
