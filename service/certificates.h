#ifndef SERVICE_CERTIFICATES_H
#define SERVICE_CERTIFICATES_H

#include <optional>
#include <string>
#include <utility>

#include "service/options.h"

namespace service {

/// What the files of --cert, --key and --ca hold; empty for what was not asked for or cannot be
/// read.
struct Certificates {
  std::string cert, key, ca;
  bool operator==(const Certificates&) const = default;
};

Certificates readCertificates(const Options& options);

/// What is wrong with certificates that were read, with the file's name: one that is not there or
/// damaged, or a key that is another certificate's. Nothing, where all is right.
std::string faultOf(const Options& options, const Certificates& certificates);

/// Sees that the files were replaced.
class CertificateWatch {
 public:
  /// The options must outlive the watch.
  CertificateWatch(const Options& options, Certificates inUse)
      : options_(options), inUse_(std::move(inUse)), seen_(inUse_) {}

  /// Looks at the files, to be called every few seconds. Returns other certificates than before,
  /// once they are the same at two looks. What is wrong with them is reported, once.
  std::optional<Certificates> look();

 private:
  const Options& options_;
  Certificates inUse_;
  Certificates seen_;  // by the last look
  bool judged_ = true;
};

}  // namespace service

#endif
