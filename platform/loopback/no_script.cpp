// What stands for scripts in a build without them.

#include "script/script.h"

namespace script {

struct Script::State {};

Script::Script() = default;
Script::~Script() = default;

std::string Script::read(const std::string& path) {
  return path + ": the loopback was built without scripts, which need nlohmann-json3-dev";
}

std::optional<Answer> Script::take(std::string_view, std::span<const std::uint8_t>) {
  return std::nullopt;
}

void Script::restart() {}

bool Script::isAsExpected() const {
  return true;
}

std::string Script::report() const {
  return "";
}

}  // namespace script
