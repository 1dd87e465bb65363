#ifndef READER_SCHEMA_H
#define READER_SCHEMA_H

#include <flatbuffers/idl.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "reader/bytes.h"

namespace reader {

/// Receives a text piece by piece: that of a large message is ten times as long.
using Write = std::function<void(std::string_view)>;

/// The service's methods and their requests, from the schema. Once loaded, any thread may use it.
class Schema {
 public:
  using Method = flatbuffers::RPCCall;

  /// @param indent spaces for each level of JSON; -1 for JSON on one line
  explicit Schema(int indent) : indent_(indent) {}

  /// Reads mqc_fes_intf_service.fbs and its includes, from their place relative to the program,
  /// built or installed; returns why it failed, or nothing.
  std::string load();
  /// The same from a folder.
  std::string load(const std::string& dir);

  /// The method of that name, nullptr when there is none. The stream, which carries calls of
  /// methods, is none itself.
  const Method* method(const std::string& name) const;
  /// All methods, in the order of the roll call.
  const std::vector<const Method*>& methods() const { return methods_; }

  /// A message that was walked without a fault as JSON, absent scalars included; on several lines,
  /// an array of numbers is on one.
  std::string json(const Method& method, Bytes message) const;
  /// The same in pieces.
  void json(const Method& method, Bytes message, const Write& write) const;

 private:
  int indent_;
  flatbuffers::Parser parser_;
  std::vector<const Method*> methods_;
};

}  // namespace reader

#endif
