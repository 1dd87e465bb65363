#include "send/check.h"

#include <algorithm>

#include "send/encoded.h"
#include "send/message.h"

namespace send {
namespace {

std::string lineOf(const Entry& entry, const std::string& words) {
  return std::to_string(entry.recorded->number) + ' ' + entry.method->name + ": " + words + '\n';
}

}  // namespace

std::string messageDifference(const Library& library, const Entry& entry) {
  const std::vector<u8>& recorded = entry.recorded->message;
  Encoded made;
  if (!encode(library, reader::isFull(recorded), entry, made)) {
    return lineOf(entry, "the request cannot be encoded");
  }
  if (std::ranges::equal(made.bytes(), recorded)) return "";
  std::vector<reader::Item> items;
  reader::walk(*entry.recorded->schema, recorded, items);
  const std::string place = firstDifference(made.bytes(), recorded, items);
  if (place.empty()) return "";
  return lineOf(entry, "the message differs from " + place + " on; it has " +
                           std::to_string(made.bytes().size()) + " bytes, the recorded one " +
                           std::to_string(recorded.size()));
}

std::string statusDifference(const Answer& answer) {
  const Recorded& recorded = *answer.entry->recorded;
  if (!recorded.status || *recorded.status == answer.status) return "";
  return lineOf(*answer.entry, "status " + std::to_string(answer.status) + " (" + answer.meaning +
                                   "), recorded " + std::to_string(*recorded.status));
}

}  // namespace send
