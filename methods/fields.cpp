#include "methods/fields.h"

#include <algorithm>
#include <charconv>
#include <numeric>

namespace methods {
namespace {

constexpr std::size_t longestShown = 60;
constexpr char notArray[] = "it is no array";

std::size_t changes(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t corner = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t changed = corner + (from[i] == to[j] ? 0 : 1);
      corner = row[j + 1];
      row[j + 1] = std::min({changed, corner + 1, row[j] + 1});
    }
  }
  return row.back();
}

/// Takes what stands before the first of the characters off the path.
std::string_view take(std::string_view& path, std::string_view ends) {
  const std::string_view taken = path.substr(0, path.find_first_of(ends));
  path.remove_prefix(taken.size());
  return taken;
}

/// Takes "[2]" off the path.
std::string takeIndex(std::string_view& path, const Slot& slot, std::optional<u32>& index) {
  path.remove_prefix(1);
  const std::string_view digits = take(path, "]");
  if (slot.kind == Kind::scalar || slot.kind == Kind::table) return notArray;
  u32 value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, value);
  if (path.empty() || rest != end || error != std::errc{}) return "no index in brackets";
  if (slot.kind != Kind::buffer && value >= slot.count) {
    return brackets(value) + ": the last element is " + brackets(slot.count - 1);
  }
  path.remove_prefix(1);
  index = value;
  return "";
}

/// Takes "f9", "f9[2]" or "f9." off the path.
std::string takeStep(const Table& table, std::string_view& path, Step& step) {
  const std::string_view name = take(path, ".[");
  step.in = &table;
  step.slot = findSlot(table, name);
  if (step.slot == nullptr) return shown(name) + ": " + noSuchField(table, name);
  const std::string fault = path.starts_with('[') ? takeIndex(path, *step.slot, step.index) : "";
  if (!fault.empty()) return std::string(name) + placed(fault);
  if (path.empty()) return "";
  if (!path.starts_with('.') || !step.isTable()) {
    return std::string(name) + ": it has no " + shown(path);
  }
  path.remove_prefix(1);
  return path.empty() ? std::string(name) + ": it has fields of its own" : "";
}

}  // namespace

Field fieldOf(const Slot& slot, u32 base) {
  return {slot.kind, slot.width, slot.count, base + slot.offset, slot.size, slot.table};
}

Field elementOf(const Field& array, u32 index) {
  const Kind kind = array.kind == Kind::tables ? Kind::table : Kind::scalar;
  return {kind, array.width, 1, array.offset + index * array.width, array.width, array.table};
}

std::string brackets(std::size_t index) {
  std::string text = "[";
  return text.append(std::to_string(index)).append("]");
}

std::string placed(const std::string& fault) {
  return fault.empty() || fault[0] == '[' ? fault : std::string(": ") + fault;
}

const Slot* findSlot(const Table& table, std::string_view name) {
  const auto found = std::ranges::find(table.slots, name, &Slot::name);
  return found == table.slots.end() ? nullptr : &*found;
}

std::string findSteps(const Table& table, std::string_view path, std::vector<Step>& steps) {
  const std::string_view whole = path;
  const Table* in = &table;
  steps.clear();
  do {
    const std::string_view before = whole.substr(0, whole.size() - path.size());
    const std::string fault = takeStep(*in, path, steps.emplace_back());
    if (!fault.empty()) return std::string(before) + fault;
    in = steps.back().slot->table;
  } while (!path.empty());
  return "";
}

std::string findField(const Table& table, std::string_view path, Field& field) {
  std::vector<Step> steps;
  std::string fault = findSteps(table, path, steps);
  if (!fault.empty()) return fault;
  u32 base = 0;
  for (const Step& step : steps) {
    field = fieldOf(*step.slot, base);
    // A record has only the buffer's pointer.
    if (step.index && field.kind == Kind::buffer) {
      return std::string(path.substr(0, path.rfind('['))) + ": " + notArray;
    }
    if (step.index) field = elementOf(field, *step.index);
    base = field.offset;
  }
  return "";
}

std::string notInRange(std::string_view value, u64 largest) {
  return (value.empty() ? "nothing" : shown(value)) + ": not a whole number from 0 to " +
         std::to_string(largest);
}

std::string_view nearest(std::string_view name, const std::vector<std::string_view>& candidates) {
  return *std::ranges::min_element(
      candidates, {}, [name](std::string_view candidate) { return changes(name, candidate); });
}

std::string shown(std::string_view name) {
  std::string start(name.substr(0, longestShown));
  if (start != name) start += "...";
  for (std::size_t zero = 0; (zero = start.find('\0', zero)) != std::string::npos;) {
    start.replace(zero, 1, "\\x00");
  }
  return start;
}

std::string noSuch(const char* what, std::string_view name,
                   const std::vector<std::string_view>& candidates) {
  const std::string_view found = nearest(name.substr(0, longestShown), candidates);
  return std::string("no such ") + what + "; the nearest is " + std::string(found);
}

std::string noSuchField(const Table& table, std::string_view name) {
  std::vector<std::string_view> names;
  for (const Slot& slot : table.slots) names.push_back(slot.name);
  return noSuch("field", name, names);
}

std::string noSuchMethod(std::string_view name) {
  std::vector<std::string_view> names;
  for (const Method& method : all) names.emplace_back(method.name);
  return noSuch("method", name, names);
}

}  // namespace methods
