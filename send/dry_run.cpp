#include "send/dry_run.h"

#include "send/check.h"
#include "send/encoded.h"
#include "shared/capture.h"
#include "shared/output.h"

namespace send {
namespace {

bool writeOne(const Encoded& message, const std::string& path) {
  shared::Output output(path);
  output.write({reinterpret_cast<const char*>(message.encoding.bytes()), message.encoding.size()});
  return output.close();
}

bool capture(shared::Capture& captures, const Encoded& message, const char* method) {
  const std::span<const u8> none;
  return captures.write(method, message.isFull ? none : message.bytes(),
                        message.isFull ? message.bytes() : none) == TARN_STATUS_OK;
}

/// Prints what differs from the recording; returns whether nothing does.
bool check(const Library& library, const std::vector<Entry>& entries) {
  shared::Output output("");
  bool isSame = true;
  for (const Entry& entry : entries) {
    const std::string line = messageDifference(library, entry);
    output.write(line);
    isSame = isSame && line.empty();
  }
  return output.close() && isSame;
}

bool writeAll(const Library& library, const Options& options, const std::vector<Entry>& entries) {
  shared::Capture captures;
  const bool toFolder = options.isSeveral();
  if (toFolder && captures.setDir(options.output.c_str()) != TARN_STATUS_OK) return false;
  for (const Entry& entry : entries) {
    Encoded message;
    if (!encode(library, options.channel.full, entry, message)) return false;
    const bool written = toFolder ? capture(captures, message, entry.method->name)
                                  : writeOne(message, options.output);
    if (!written) return false;
  }
  return true;
}

}  // namespace

bool encodeAll(const Library& library, const Options& options, const std::vector<Entry>& entries) {
  const bool isChecked = options.replay.isChecked;
  const bool isSame = !isChecked || check(library, entries);
  const bool isWritten = isChecked && options.output.empty();
  return (isWritten || writeAll(library, options, entries)) && isSame;
}

}  // namespace send
