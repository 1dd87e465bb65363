#ifndef SERVICE_CERTIFICATES_H
#define SERVICE_CERTIFICATES_H

#include <optional>
#include <string>
#include <utility>

#include "service/options.h"

namespace service {

/// The contents of the files of --cert, --key and --ca; empty if not requested or not readable.
struct Certificates {
  std::string cert, key, ca;
  bool operator==(const Certificates&) const = default;
};

Certificates readCertificates(const Options& options);

/// What is wrong with certificates that were read, with the file's name: a missing or damaged one,
/// or a key of another certificate. Empty if nothing is.
std::string faultOf(const Options& options, const Certificates& certificates);

/// Notices replaced files.
class CertificateWatch {
 public:
  /// The options must outlive the watch.
  CertificateWatch(const Options& options, Certificates inUse)
      : options_(options), inUse_(std::move(inUse)), seen_(inUse_) {}

  /// Reads the files; to be called every few seconds. Returns changed certificates, once two reads
  /// in a row agree. What is wrong with them is reported once.
  std::optional<Certificates> look();

 private:
  const Options& options_;
  Certificates inUse_;
  Certificates seen_;  // at the last read
  bool judged_ = true;
};

}  // namespace service

#endif
