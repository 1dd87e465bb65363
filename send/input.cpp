#include "send/input.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "methods/json.h"
#include "methods/words.h"

namespace send {
namespace {

using nlohmann::json;

constexpr std::string_view variants[] = {"sync", "async", "oneway"};
constexpr std::size_t pieceSize = 65536;

std::string readVariant(const json& value, Variant& variant) {
  const std::string name = value.is_string() ? value.get<std::string>() : "";
  for (const Variant one : {Variant::sync, Variant::async, Variant::oneway}) {
    if (name != variants[static_cast<std::size_t>(one)]) continue;
    variant = one;
    return "";
  }
  return "variant: neither \"sync\" nor \"async\" nor \"oneway\"";
}

std::string readMethod(const json& line, Entry& entry) {
  const auto found = line.find("method");
  if (found == line.end() || !found->is_string()) return "method: a name is missing";
  const auto& name = found->get_ref<const std::string&>();
  entry.method = methods::find(name);
  return entry.method == nullptr ? methods::noSuchMethod(name) : "";
}

/// What is wrong with the names in a line.
std::string unknownIn(const json& line) {
  const std::vector<std::string_view> known = {"method", "request", "variant"};
  for (const auto& [name, value] : line.items()) {
    if (std::ranges::find(known, name) != known.end()) continue;
    return methods::noSuch("name", name, known);
  }
  return "";
}

std::string readEntry(std::string_view text, Entry& entry) {
  json line;
  std::string fault = methods::parseJson(text, line);
  if (!fault.empty()) return fault;
  if (!line.is_object()) return std::string(line.type_name()) + ", where an object is expected";
  fault = unknownIn(line);
  if (fault.empty()) fault = readMethod(line, entry);
  if (fault.empty() && line.contains("variant"))
    fault = readVariant(line["variant"], entry.variant);
  if (!fault.empty()) return fault;
  if (!line.contains("request")) line["request"] = json::object();
  return methods::readRequest(*entry.method, line["request"], entry.request, "request");
}

std::string placeOf(const std::string& name, std::size_t line) {
  return name + ':' + std::to_string(line);
}

bool isJson(const std::string& word) {
  const std::size_t first = word.find_first_not_of(" \t\r\n");
  return word == "-" || (first != std::string::npos && word[first] == '{');
}

/// Reads the JSON before a request's words.
std::string readFirst(const std::string& word, Entry& entry) {
  std::string text = word;
  json value;
  std::string fault = word == "-" ? readText("-", text) : "";
  if (fault.empty()) fault = methods::parseJson(text, value);
  if (fault.empty()) fault = methods::readRequest(*entry.method, value, entry.request);
  return fault.empty() || word != "-" ? fault : "stdin: " + fault;
}

}  // namespace

std::string readOne(const methods::Method& method, std::span<const std::string> words,
                    Entry& entry) {
  entry.method = &method;
  entry.request = methods::Request(*method.request);
  if (!words.empty() && isJson(words[0])) {
    std::string fault = readFirst(words[0], entry);
    if (!fault.empty()) return fault;
    words = words.subspan(1);
  }
  for (const std::string& word : words) {
    std::string fault = methods::setWord(method, word, entry.request);
    if (!fault.empty()) return fault;
  }
  return "";
}

std::string readText(const std::string& path, std::string& text) {
  std::FILE* const file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
  if (file == nullptr) return path + ": " + std::strerror(errno);
  std::size_t size = 0;
  do {
    text.resize(size + std::max(size, pieceSize));
    size += std::fread(text.data() + size, 1, text.size() - size, file);
  } while (size == text.size());
  text.resize(size);
  const int error = std::ferror(file) != 0 ? errno : 0;
  if (file != stdin) std::fclose(file);
  return error == 0 ? "" : path + ": " + std::strerror(error);
}

std::string readLines(std::string_view text, const std::string& name, Variant variant,
                      std::vector<Entry>& entries) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    Entry entry{nullptr, {}, variant, number};
    const std::string fault = readEntry(line, entry);
    if (!fault.empty()) return placeOf(name, number).append(": ").append(fault);
    entries.push_back(std::move(entry));
  }
  return "";
}

}  // namespace send
