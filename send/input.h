#ifndef SEND_INPUT_H
#define SEND_INPUT_H

// Requests to be sent: read and checked, before the first of them is sent.

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "methods/request.h"
#include "reader/schema.h"

namespace send {

/// How a request is sent.
enum class Variant { sync, async, oneway };

/// What a recording has of a call that is sent again.
struct Recorded {
  const reader::Schema::Method* schema = nullptr;
  u64 number = 0;             ///< of the call in the recording, from 1
  u64 time = 0;               ///< of its request, in nanoseconds from any point
  std::optional<u32> status;  ///< none where its end is missing
  std::vector<u8> message;    ///< where it is checked
};

/// A request to be sent.
struct Entry {
  const methods::Method* method = nullptr;
  methods::Request request;
  Variant variant = Variant::sync;
  std::size_t line = 0;  ///< where it stands in its file, from 1
  std::optional<Recorded> recorded;
};

/// Requests to be sent, in their order, once.
class Requests {
 public:
  Requests() = default;
  Requests(const Requests&) = delete;
  Requests& operator=(const Requests&) = delete;
  virtual ~Requests() = default;

  /// The next one, nullptr behind the last.
  virtual std::shared_ptr<const Entry> next() = 0;
  /// How many there are in all.
  virtual std::size_t size() const = 0;
};

/// Requests that are in memory.
class ReadRequests : public Requests {
 public:
  explicit ReadRequests(std::vector<Entry>&& entries) : entries_(std::move(entries)) {}
  std::shared_ptr<const Entry> next() override;
  std::size_t size() const override { return entries_.size(); }

 private:
  std::vector<Entry> entries_;
  std::size_t at_ = 0;
};

/// Finds the variant of that name; returns whether there is one.
bool findVariant(std::string_view name, Variant& variant);

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
