#ifndef SERVICE_SCHEMA_H
#define SERVICE_SCHEMA_H

#include <flatbuffers/idl.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace service {

using Bytes = std::span<const std::uint8_t>;

/// The service's methods and their requests, as the schema has them. Once loaded, any thread may
/// ask.
class Schema {
 public:
  using Method = flatbuffers::RPCCall;

  /// Reads mqc_fes_intf_service.fbs of the directory and what it includes; says why it failed, or
  /// nothing.
  std::string load(const std::string& dir);

  /// The method of that name, nullptr when there is none.
  const Method* method(const std::string& name) const;
  std::size_t methodCount() const;

  /// Whether a message is a whole request of the method; tests before anybody reads it.
  static bool verify(const Method& method, Bytes message);
  /// A verified message as JSON on one line, absent scalars included.
  std::string json(const Method& method, Bytes message) const;

 private:
  const flatbuffers::ServiceDef* service() const { return parser_.services_.vec.front(); }

  flatbuffers::Parser parser_;
};

}  // namespace service

#endif
