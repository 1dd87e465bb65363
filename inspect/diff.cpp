#include <algorithm>
#include <map>
#include <unordered_map>

#include "inspect/alignment.h"
#include "inspect/calls.h"
#include "shared/printable.h"

namespace inspect {
namespace {

constexpr std::size_t mostDetails = 1'000;  // calls whose fields are compared
constexpr std::size_t mostFields = 32;      // of a call that are shown

/// What is compared of a call.
struct Entry {
  std::uint64_t number;
  std::uint64_t time;
  std::uint64_t request;  // its hash
  std::string_view variant;
  std::optional<std::uint32_t> status;
};
using Sequence = std::vector<Entry>;  // of one method's calls, in their order
using Sequences = std::map<std::string, Sequence>;

/// Two calls that belong together, or one that has no other.
struct Change {
  const std::string* method;
  const Entry* before;
  const Entry* after;

  bool isAlone() const { return before == nullptr || after == nullptr; }
  bool hasOtherRequest() const { return !isAlone() && before->request != after->request; }
};

using Requests = std::unordered_map<std::uint64_t, Call>;  // by the calls' numbers
using Fields = std::vector<std::pair<std::string, std::string>>;

/// A full message with zeros where the encoding leaves bytes unwritten; any other as it is.
std::vector<std::uint8_t> closed(const Schema::Method* method, std::vector<std::uint8_t> bytes) {
  const bool isFull = method != nullptr && bytes.size() >= 4 && reader::isFull(bytes);
  std::vector<Item> items;
  if (!isFull || reader::walk(*method, bytes, items)) return bytes;
  for (const Item& item : items) {
    if (item.kind != reader::Kind::gap) continue;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(item.position), item.length, 0);
  }
  return bytes;
}

/// Of a request, which may not be recorded whole.
std::uint64_t hashOf(const Schema& schema, Call& call) {
  const auto bytes = closed(schema.method(call.method), std::move(call.message));
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return std::hash<std::string_view>()(text) + call.size;
}

Sequences read(Calls& calls) {
  Sequences sequences;
  for (Call call; calls.next(call);) {
    const auto status = call.end ? std::optional(call.end->status) : std::nullopt;
    sequences[call.method].push_back(
        {call.number, call.time, hashOf(calls.schema(), call), call.variant, status});
  }
  return sequences;
}

/// What calls are aligned by.
std::vector<std::uint64_t> elementsOf(const Sequence& sequence) {
  std::vector<std::uint64_t> elements;
  elements.reserve(sequence.size());
  for (const Entry& entry : sequence) {
    elements.push_back(entry.request + 31 * std::hash<std::string_view>()(entry.variant));
  }
  return elements;
}

/// Adds the changes between two matches: calls in their order, as far as both have some.
void addBetween(const std::string& method, std::span<const Entry> before,
                std::span<const Entry> after, std::vector<Change>& changes) {
  for (std::size_t i = 0; i < std::max(before.size(), after.size()); ++i) {
    changes.push_back({&method, i < before.size() ? &before[i] : nullptr,
                       i < after.size() ? &after[i] : nullptr});
  }
}

void addChanges(const std::string& method, const Sequence& before, const Sequence& after,
                std::vector<Change>& changes) {
  Match next = {0, 0};
  std::vector<Match> matches = align(elementsOf(before), elementsOf(after));
  matches.push_back({before.size(), after.size()});
  for (const Match& match : matches) {
    addBetween(method, std::span(before).subspan(next.before, match.before - next.before),
               std::span(after).subspan(next.after, match.after - next.after), changes);
    if (match.before == before.size()) break;
    const Entry& was = before[match.before];
    const Entry& is = after[match.after];
    if (was.status != is.status) changes.push_back({&method, &was, &is});
    next = {match.before + 1, match.after + 1};
  }
}

std::vector<Change> compare(const Sequences& before, const Sequences& after) {
  static const Sequence none;
  std::vector<Change> changes;
  for (const auto& [method, sequence] : before) {
    const auto found = after.find(method);
    addChanges(method, sequence, found != after.end() ? found->second : none, changes);
  }
  for (const auto& [method, sequence] : after) {
    if (before.count(method) == 0) addChanges(method, none, sequence, changes);
  }
  return changes;
}

/// Reads the recording once more for the calls whose fields are compared.
Requests readRequests(Calls& calls, const std::vector<Change>& changes,
                      const Entry* Change::*side) {
  Requests requests;
  for (const Change& change : changes) {
    if (change.hasOtherRequest()) requests.emplace((change.*side)->number, Call());
    if (requests.size() == mostDetails) break;
  }
  if (requests.empty() || !calls.rewind()) return requests;
  for (Call call; calls.next(call);) {
    const auto found = requests.find(call.number);
    if (found != requests.end()) found->second = std::move(call);
  }
  return requests;
}

void addFields(const Message& message, const Item& item, Fields& fields) {
  const bool isScalar = item.kind == reader::Kind::scalar;
  if (isScalar || (item.kind == reader::Kind::absent && item.value != "absent")) {
    const Bytes bytes = Bytes(message.bytes).subspan(item.position, item.length);
    fields.emplace_back(item.path, std::to_string(reader::number(bytes.data(), bytes.size())));
  } else if (item.kind == reader::Kind::count) {
    fields.emplace_back(item.path + ", elements", item.value);
  } else if (item.kind == reader::Kind::elements) {
    for (std::size_t i = 0; i < item.length / item.width; ++i) {
      fields.emplace_back(item.path + '[' + std::to_string(i) + ']',
                          elements(message, item, i, i + 1));
    }
  }
}

Fields fieldsOf(const Message& message) {
  Fields fields;
  for (const Item& item : message.items) addFields(message, item, fields);
  return fields;
}

std::string difference(std::string name, const std::string& before, const std::string& after) {
  return name.append(": ").append(before).append(", then ").append(after);
}

std::vector<std::string> differences(const Fields& before, const Fields& after) {
  std::vector<std::string> lines;
  std::unordered_map<std::string, std::string> rest(after.begin(), after.end());
  for (const auto& [name, value] : before) {
    const auto found = rest.find(name);
    const std::string other = found != rest.end() ? found->second : "none";
    if (value != other) lines.push_back(difference(name, value, other));
    if (found != rest.end()) rest.erase(found);
  }
  for (const auto& [name, value] : after) {
    if (rest.count(name) > 0) lines.push_back(difference(name, "none", value));
  }
  return lines;
}

class Writer {
 public:
  Writer(Calls& before, Calls& after, shared::Output& output, const std::vector<Change>& changes)
      : before_(before),
        after_(after),
        output_(output),
        requestsBefore_(readRequests(before, changes, &Change::before)),
        requestsAfter_(readRequests(after, changes, &Change::after)) {}

  void write(const Change& change) {
    if (change.isAlone()) return writeAlone(change);
    output_.write(shared::printable(*change.method) + ": call " +
                  std::to_string(change.before->number) + ", then call " +
                  std::to_string(change.after->number) + '\n');
    if (change.hasOtherRequest()) writeFields(change);
    const Entry& was = *change.before;
    const Entry& is = *change.after;
    if (was.variant != is.variant)
      writeLine("variant", std::string(was.variant), std::string(is.variant));
    if (was.status != is.status) writeLine("status", text(was), text(is));
  }

 private:
  void writeLine(const char* name, const std::string& before, const std::string& after) {
    output_.write("  " + difference(name, before, after) + '\n');
  }

  static std::string text(const Entry& entry) {
    if (!entry.status) return "no end";
    return std::to_string(*entry.status) + ' ' + meaningOf(*entry.status);
  }

  void writeAlone(const Change& change) {
    const bool isAdded = change.before == nullptr;
    const Entry& entry = isAdded ? *change.after : *change.before;
    output_.write((isAdded ? "+ " : "- ") + shared::printable(*change.method) + ": call " +
                  std::to_string(entry.number) + ", " + timeText(entry.time) + '\n');
  }

  void writeFields(const Change& change) {
    const auto was = requestsBefore_.find(change.before->number);
    const auto is = requestsAfter_.find(change.after->number);
    if (was == requestsBefore_.end() || is == requestsAfter_.end()) {
      output_.write("  fields: not compared, behind so many differences\n");
      return;
    }
    Message before, after;
    if (!before_.walk(was->second, before) || !after_.walk(is->second, after)) {
      output_.write("  bytes: others, of which no fields are known\n");
      return;
    }
    const std::vector<std::string> lines = differences(fieldsOf(before), fieldsOf(after));
    if (lines.empty()) output_.write(encodings(before, after));
    for (std::size_t i = 0; i < std::min(lines.size(), mostFields); ++i) {
      output_.write("  " + lines[i] + '\n');
    }
    if (lines.size() > mostFields) {
      output_.write("  " + std::to_string(lines.size() - mostFields) + " more\n");
    }
  }

  static std::string encodings(const Message& before, const Message& after) {
    const auto name = [](const Message& message) {
      return std::string(reader::isFull(message.bytes) ? "full" : "compact");
    };
    return name(before) == name(after)
               ? "  bytes: others, of no field\n"
               : "  encoding: " + name(before) + ", then " + name(after) + '\n';
  }

  Calls& before_;
  Calls& after_;
  shared::Output& output_;
  const Requests requestsBefore_;
  const Requests requestsAfter_;
};

std::string summary(const std::vector<Change>& changes, std::size_t all) {
  std::size_t dropped = 0, added = 0;
  for (const Change& change : changes) {
    dropped += change.after == nullptr ? 1 : 0;
    added += change.before == nullptr ? 1 : 0;
  }
  const std::size_t changed = changes.size() - dropped - added;
  return "equal " + std::to_string(all - changed - dropped) + ", changed " +
         std::to_string(changed) + ", dropped " + std::to_string(dropped) + ", added " +
         std::to_string(added) + '\n';
}

}  // namespace

bool writeDifferences(Calls& before, Calls& after, shared::Output& output) {
  const Sequences was = read(before);
  const Sequences is = read(after);
  const std::vector<Change> changes = compare(was, is);
  Writer writer(before, after, output, changes);
  for (const Change& change : changes) writer.write(change);
  std::size_t all = 0;
  for (const auto& [method, sequence] : was) all += sequence.size();
  output.write(summary(changes, all));
  return !changes.empty();
}

}  // namespace inspect
