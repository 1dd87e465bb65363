#include "reader/schema.h"

#include <flatbuffers/util.h>

#include <filesystem>

namespace reader {
namespace {

/// The schema is at a fixed path relative to the program.
std::string schemaDir() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path() / TARN_SCHEMA_FROM_PROGRAM).lexically_normal();
}

bool isStream(const Schema::Method& method) {
  return method.attributes.Lookup("streaming") != nullptr;
}

}  // namespace

std::string Schema::load() {
  return load(schemaDir());
}

std::string Schema::load(const std::string& dir) {
  const std::string path = dir + "/mqc_fes_intf_service.fbs";
  std::string text;
  if (!flatbuffers::LoadFile(path.c_str(), false, &text)) return path + ": cannot be read";
  const char* includes[] = {dir.c_str(), nullptr};
  if (!parser_.Parse(text.c_str(), includes, path.c_str())) return parser_.error_;
  if (parser_.services_.vec.size() != 1) return path + ": not one service";
  for (const Method* const method : parser_.services_.vec.front()->calls.vec) {
    if (!isStream(*method)) methods_.push_back(method);
  }
  return "";
}

const Schema::Method* Schema::method(const std::string& name) const {
  const Method* const found = parser_.services_.vec.front()->calls.Lookup(name);
  return found != nullptr && !isStream(*found) ? found : nullptr;
}

}  // namespace reader
