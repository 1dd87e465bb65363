#include "reader/recording.h"

#include <fcntl.h>
#include <pcap/pcap.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <utility>

namespace reader {
namespace {

constexpr int exportedPdu = 252;
constexpr unsigned tagEnd = 0;
constexpr unsigned tagText = 33;
constexpr std::uint64_t knownVersion = 1;
constexpr std::size_t pieceSize = 262'144;  // of reads, in bytes

/// The words of a packet's text. What is not there fails all that follows.
class Words {
 public:
  explicit Words(std::string_view text) : rest_(text) {}

  std::string_view word() {
    const std::string_view found = rest_.substr(0, rest_.find(' '));
    rest_.remove_prefix(std::min(found.size() + 1, rest_.size()));
    if (found.empty()) isFine_ = false;
    return found;
  }
  std::uint64_t number() {
    const std::string_view digits = word();
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), value);
    if (error != std::errc{} || end != digits.end()) isFine_ = false;
    return value;
  }
  /// A number behind the word that names it.
  std::uint64_t number(std::string_view name) {
    if (word() != name) isFine_ = false;
    return number();
  }
  bool areFine() const { return isFine_; }

 private:
  std::string_view rest_;
  bool isFine_ = true;
};

struct Form {
  std::string_view word;
  PacketKind kind;
  std::string_view number;  ///< what names the number at the end
};

constexpr Form ofCalls[] = {{"sync", PacketKind::request, "bytes"},
                            {"async", PacketKind::request, "bytes"},
                            {"oneway", PacketKind::request, "bytes"},
                            {"part", PacketKind::part, "from"},
                            {"end", PacketKind::end, "status"}};

bool readCall(const Form& form, Words& words, Packet& packet) {
  packet.kind = form.kind;
  if (form.kind == PacketKind::request) packet.variant = form.word;
  packet.sequence = words.number();
  packet.method = words.word();
  packet.process = words.number("process");
  packet.thread = words.number("thread");
  packet.number = words.number(form.number);
  return words.areFine() && packet.number <= UINT32_MAX;
}

bool readText(std::string_view text, Packet& packet) {
  Words words(text);
  const std::string_view kind = words.word();
  for (const Form& form : ofCalls) {
    if (form.word == kind) return readCall(form, words, packet);
  }
  if (kind != "begin" && kind != "missing") return false;
  packet.kind = kind == "begin" ? PacketKind::begin : PacketKind::missing;
  packet.number = words.number();
  packet.process = words.number("process");
  return words.areFine();
}

/// Reads what is in front of a packet's bytes: tags with their texts, of which one is ours.
bool readTags(std::span<const std::uint8_t> bytes, Packet& packet) {
  const auto pair = [&](std::size_t at) { return unsigned{bytes[at]} << 8 | bytes[at + 1]; };
  std::string_view text;
  for (std::size_t at = 0; at + 4 <= bytes.size();) {
    const unsigned tag = pair(at);
    const std::size_t size = pair(at + 2);
    at += 4;
    if (size > bytes.size() - at) return false;
    if (tag == tagText) text = {reinterpret_cast<const char*>(&bytes[at]), size};
    at += size;
    if (tag != tagEnd) continue;
    packet.bytes = bytes.subspan(at);
    return readText(text.substr(0, text.find('\0')), packet);
  }
  return false;
}

std::string error() {
  return std::strerror(errno);
}

bool writeAll(int file, const std::uint8_t* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(file, bytes, size);
    if (written < 0 && errno != EINTR) return false;
    if (written < 0) continue;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace

bool hasPackets(std::span<const std::uint8_t> start) {
  static constexpr std::array<std::array<std::uint8_t, 4>, 5> known = {{
      {0x4D, 0x3C, 0xB2, 0xA1},  // pcap in nanoseconds, in either order of bytes
      {0xA1, 0xB2, 0x3C, 0x4D},
      {0xD4, 0xC3, 0xB2, 0xA1},  // in microseconds
      {0xA1, 0xB2, 0xC3, 0xD4},
      {0x0A, 0x0D, 0x0D, 0x0A},  // pcapng
  }};
  if (start.size() < 4) return false;
  return std::any_of(known.begin(), known.end(), [&](const auto& magic) {
    return std::equal(magic.begin(), magic.end(), start.begin());
  });
}

void PacketFile::Close::operator()(pcap* packets) const {
  pcap_close(packets);
}

PacketFile::PacketFile(std::string path) : path_(std::move(path)) {}

PacketFile::PacketFile(PacketFile&& other) noexcept
    : path_(std::move(other.path_)),
      buffer_(std::move(other.buffer_)),
      packets_(std::move(other.packets_)),
      damage_(std::move(other.damage_)),
      foreign_(other.foreign_),
      firstForeign_(other.firstForeign_),
      read_(other.read_),
      file_(std::exchange(other.file_, -1)) {}

PacketFile::~PacketFile() {
  if (file_ >= 0) ::close(file_);
}

std::string PacketFile::open() {
  const int file = path_ == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                : ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  return file < 0 ? error() : open(file, {});
}

std::string PacketFile::open(int file, std::span<const std::uint8_t> start) {
  file_ = file;
  if (::lseek(file, 0, SEEK_SET) < 0) {
    std::string fault = spool(start);
    if (!fault.empty()) return fault;
  }
  return rewind();
}

std::string PacketFile::spool(std::span<const std::uint8_t> start) {
  std::FILE* const temporary = std::tmpfile();
  const int copy = temporary != nullptr ? ::fcntl(fileno(temporary), F_DUPFD_CLOEXEC, 0) : -1;
  if (temporary != nullptr) std::fclose(temporary);
  if (copy < 0) return error();
  const int from = std::exchange(file_, copy);
  std::vector<std::uint8_t> room(pieceSize);
  ssize_t size = 0;
  bool isFine = writeAll(copy, start.data(), start.size());
  while (isFine && (size = ::read(from, room.data(), room.size())) != 0) {
    if (size < 0 && errno == EINTR) continue;
    isFine = size > 0 && writeAll(copy, room.data(), static_cast<std::size_t>(size));
  }
  std::string fault = isFine ? "" : error();
  ::close(from);
  return fault;
}

std::string PacketFile::rewind() {
  packets_.reset();
  damage_.clear();
  foreign_ = read_ = 0;
  ::lseek(file_, 0, SEEK_SET);
  const int copy = ::fcntl(file_, F_DUPFD_CLOEXEC, 0);
  std::FILE* const stream = copy < 0 ? nullptr : ::fdopen(copy, "rb");
  if (stream == nullptr) return error();
  buffer_.resize(pieceSize);
  std::setvbuf(stream, buffer_.data(), _IOFBF, buffer_.size());
  char words[PCAP_ERRBUF_SIZE] = "";
  packets_.reset(
      pcap_fopen_offline_with_tstamp_precision(stream, PCAP_TSTAMP_PRECISION_NANO, words));
  if (packets_ == nullptr) {
    std::fclose(stream);
    return words;
  }
  const int type = pcap_datalink(packets_.get());
  if (type == exportedPdu) return "";
  return "packets of link type " + std::to_string(type) + ", those of a recording are of " +
         std::to_string(exportedPdu);
}

bool PacketFile::next(Packet& packet) {
  for (bool isOurs = false; packets_ != nullptr && read(packet, isOurs);) {
    if (isOurs) return true;
    if (++foreign_ == 1) firstForeign_ = read_;
  }
  return false;
}

bool PacketFile::read(Packet& packet, bool& isOurs) {
  pcap_pkthdr* head = nullptr;
  const std::uint8_t* bytes = nullptr;
  const int found = pcap_next_ex(packets_.get(), &head, &bytes);
  if (found == PCAP_ERROR_BREAK) return false;
  if (found != 1) return stop(pcap_geterr(packets_.get())), false;
  const auto nanoseconds = static_cast<std::uint64_t>(head->ts.tv_usec);
  packet = {};
  packet.time = static_cast<std::uint64_t>(head->ts.tv_sec) * 1'000'000'000 + nanoseconds;
  packet.isWhole = head->caplen >= head->len;
  isOurs = readTags({bytes, head->caplen}, packet);
  if (isOurs && packet.kind == PacketKind::begin && packet.number != knownVersion) {
    return stop("a recording of version " + std::to_string(packet.number)), false;
  }
  ++read_;
  return true;
}

std::string PacketFile::foreign() const {
  if (foreign_ == 0) return "";
  const std::string first = std::to_string(firstForeign_);
  if (foreign_ == 1) return "packet " + first + " is of no recording, and left out";
  return std::to_string(foreign_) +
         " packets are of no recording, and left out; the first is packet " + first;
}

/// Reads the file once more for the place: to ask for it at each packet takes most of the time.
void PacketFile::stop(const std::string& words) {
  const std::uint64_t foreign = foreign_;
  const std::uint64_t whole = read_;
  long place = 0;
  if (rewind().empty()) {
    pcap_pkthdr* head = nullptr;
    const std::uint8_t* bytes = nullptr;
    for (; read_ < whole && pcap_next_ex(packets_.get(), &head, &bytes) == 1; ++read_) {
    }
    place = std::ftell(pcap_file(packets_.get()));
  }
  packets_.reset();
  foreign_ = foreign;
  damage_ = "byte " + std::to_string(place) + ", behind " + std::to_string(whole) +
            (whole == 1 ? " packet: " : " packets: ") + words;
}

std::string Recording::add(const std::string& path) {
  PacketFile file(path);
  std::string fault = file.open();
  if (fault.empty()) add(std::move(file));
  return fault;
}

std::string Recording::rewind() {
  isStarted_ = false;
  for (PacketFile& file : files_) {
    std::string fault = file.rewind();
    if (!fault.empty()) return file.path() + ": " + fault;
  }
  return "";
}

bool Recording::next(Packet& packet) {
  const auto advance = [this](std::size_t i) {
    heads_[i].isThere = files_[i].next(heads_[i].packet);
  };
  if (isStarted_ && !heads_.empty()) {
    advance(latest_);
  } else {
    heads_.resize(files_.size());
    for (std::size_t i = 0; i < files_.size(); ++i) advance(i);
    isStarted_ = true;
  }
  const auto first =
      std::min_element(heads_.begin(), heads_.end(), [](const Head& a, const Head& b) {
        return a.isThere && (!b.isThere || a.packet.time < b.packet.time);
      });
  if (first == heads_.end() || !first->isThere) return false;
  latest_ = static_cast<std::size_t>(first - heads_.begin());
  packet = first->packet;
  return true;
}

}  // namespace reader
