#include "send/dry_run.h"

#include "shared/capture.h"
#include "shared/encode.h"
#include "shared/output.h"

namespace send {
namespace {

using Bytes = std::span<const u8>;

/// A message in the encoding that the options ask for.
struct Encoded {
  shared::Encoding encoding;
  bool isFull = false;

  Bytes bytes() const { return {encoding.bytes(), encoding.size()}; }
};

bool encode(const Library& library, bool full, const Entry& entry, Encoded& message) {
  IdlMsgDesc desc;
  library.of(*entry.method).setIdl(&desc);
  message.isFull = full && shared::hasFull(desc);
  return (message.isFull ? shared::encodeFull : shared::encodeCompact)(
             entry.method->name, desc, entry.request.data(), message.encoding) == TARN_STATUS_OK;
}

bool writeOne(const Encoded& message, const std::string& path) {
  shared::Output output(path);
  output.write({reinterpret_cast<const char*>(message.encoding.bytes()), message.encoding.size()});
  return output.close();
}

bool capture(shared::Capture& captures, const Encoded& message, const char* method) {
  const Bytes none;
  return captures.write(method, message.isFull ? none : message.bytes(),
                        message.isFull ? message.bytes() : none) == TARN_STATUS_OK;
}

}  // namespace

bool encodeAll(const Library& library, const Options& options, const std::vector<Entry>& entries) {
  shared::Capture captures;
  const bool toFolder = !options.file.empty();
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

}  // namespace send
