#ifndef SEND_INPUT_H
#define SEND_INPUT_H

// Requests to be sent: read and checked, before the first of them is sent.

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "methods/request.h"

namespace send {

/// How a request is sent.
enum class Variant { sync, async, oneway };

/// A request to be sent.
struct Entry {
  const methods::Method* method = nullptr;
  methods::Request request;
  Variant variant = Variant::sync;
  std::size_t line = 0;  ///< where it stands in its file, from 1
};

// Each returns what is wrong, with its place, or nothing.

/// Reads a file, or the standard input under the name "-".
std::string readText(const std::string& path, std::string& text);

/// Reads lines of JSON, each an object such as {"method": "sendRuleMac", "request": {"f3": 37}},
/// and perhaps "variant": "sync", "async" or "oneway". Without "request", all fields are zero.
/// Empty lines are skipped.
/// @param name the file's, for "NAME:LINE: PLACE: WORDS"
/// @param variant of lines that do not state theirs
std::string readLines(std::string_view text, const std::string& name, Variant variant,
                      std::vector<Entry>& entries);

/// Reads the request of one method: JSON, or "-" for that in the standard input, and words such as
/// f3=37, which override it.
std::string readOne(const methods::Method& method, std::span<const std::string> words,
                    Entry& entry);

}  // namespace send

#endif
