#include "inspect/input.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "reader/walk.h"

namespace inspect {
namespace {

constexpr std::size_t enough = 4;  // bytes that distinguish them
constexpr std::size_t pieceSize = 65'536;

}  // namespace

Input::~Input() {
  if (file_ >= 0) ::close(file_);
}

std::string Input::open() {
  file_ = path_ == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                       : ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  return file_ < 0 ? std::strerror(errno) : read(start_, enough);
}

std::string Input::read(std::vector<std::uint8_t>& bytes, std::size_t size) const {
  while (bytes.size() < size) {
    const std::size_t before = bytes.size();
    bytes.resize(std::min(size, before + std::max(before, pieceSize)));
    const ssize_t more = ::read(file_, bytes.data() + before, bytes.size() - before);
    const int error = errno;
    bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(more, 0)));
    if (more == 0) break;
    if (more < 0 && error != EINTR) return std::strerror(error);
  }
  return "";
}

std::string Input::readMessage(std::vector<std::uint8_t>& bytes) {
  bytes = std::move(start_);
  return read(bytes, reader::maxMessageBytes + 1);
}

std::string Input::addTo(reader::Recording& recording) {
  if (!isRecording()) return "no recording, as are other files";
  reader::PacketFile file(path_);
  std::string fault = file.open(std::exchange(file_, -1), start_);
  if (fault.empty()) recording.add(std::move(file));
  return fault;
}

}  // namespace inspect
