#include "methods/fields.h"

#include <algorithm>
#include <charconv>
#include <numeric>

namespace methods {
namespace {

constexpr std::size_t longestShown = 60;

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
std::string takeIndex(std::string_view& path, Field& field) {
  path.remove_prefix(1);
  const std::string_view digits = take(path, "]");
  if (field.kind != Kind::vector && field.kind != Kind::tables) return "it is no array";
  u32 index = 0;
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, index);
  if (path.empty() || rest != end || error != std::errc{}) return "no index in brackets";
  if (index >= field.count) {
    return brackets(index) + ": the last element is " + brackets(field.count - 1);
  }
  path.remove_prefix(1);
  field = elementOf(field, index);
  return "";
}

/// Takes "f9", "f9[2]" or "f9." off the path.
std::string takeField(const Table& table, std::string_view& path, u32 base, Field& field) {
  const std::string_view name = take(path, ".[");
  const Slot* const slot = findSlot(table, name);
  if (slot == nullptr) return shown(name) + ": " + noSuchField(table, name);
  field = fieldOf(*slot, base);
  const std::string fault = path.starts_with('[') ? takeIndex(path, field) : "";
  if (!fault.empty()) return std::string(name) + placed(fault);
  if (path.empty()) return "";
  if (!path.starts_with('.') || field.kind != Kind::table) {
    return std::string(name) + ": it has no " + std::string(path);
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

std::string findField(const Table& table, std::string_view path, Field& field) {
  const std::string_view whole = path;
  const Table* in = &table;
  u32 base = 0;
  do {
    const std::string_view before = whole.substr(0, whole.size() - path.size());
    const std::string fault = takeField(*in, path, base, field);
    if (!fault.empty()) return std::string(before) + fault;
    in = field.table;
    base = field.offset;
  } while (!path.empty());
  return "";
}

std::string_view nearest(std::string_view name, const std::vector<std::string_view>& candidates) {
  return *std::ranges::min_element(
      candidates, {}, [name](std::string_view candidate) { return changes(name, candidate); });
}

std::string shown(std::string_view name) {
  const std::string_view start = name.substr(0, longestShown);
  return std::string(start) + (start == name ? "" : "...");
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
