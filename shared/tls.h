#ifndef SHARED_TLS_H
#define SHARED_TLS_H

#include <string>

namespace shared {

// Each returns what is wrong, empty when nothing is. gRPC finds out when it connects, and says so
// on stderr alone.

/// Certificates in PEM: one at least, and each whole.
std::string certificatesFault(const std::string& pem);
/// Those of one's own, whose first OpenSSL must be ready to show: its key may be too small.
std::string ownCertificatesFault(const std::string& pem);
/// A private key in PEM, and whether it belongs to the first of the certificates, which are whole.
std::string keyFault(const std::string& pem, const std::string& certificates);

}  // namespace shared

#endif
