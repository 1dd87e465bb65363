#ifndef READER_RECORDING_H
#define READER_RECORDING_H

// Reads recordings of calls; docs/recording.md describes the format.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct pcap;

namespace reader {

enum class PacketKind {
  begin,    ///< of a file
  request,  ///< a call
  part,     ///< of a request that is too long for one packet
  end,      ///< of a call
  missing,  ///< packets that could not be written
};

/// A packet of a recording. Its text and bytes are valid until the next one is read.
struct Packet {
  PacketKind kind;
  std::string_view variant;  ///< of a request: sync, async or oneway
  std::uint64_t time;        ///< nanoseconds since 1970
  std::uint64_t process;     ///< 0 where the packet has none, as thread and sequence
  std::uint64_t thread;
  std::uint64_t sequence;  ///< of the call, among those of its process
  std::string_view method;
  /// A request: the bytes of the whole message. A part: its position in the message. An end: the
  /// status. Missing: how many packets. Begin: the version of the format.
  std::uint64_t number;
  bool isWhole;  ///< not a packet whose end was cut off
  std::span<const std::uint8_t> bytes;
};

/// Whether a file that begins with these bytes, at least four, is one of packets: pcap or pcapng.
bool hasPackets(std::span<const std::uint8_t> start);

/// A file of packets. Read to its end or to where it is damaged, once or several times.
class PacketFile {
 public:
  /// @param path of the file; "-" is the standard input
  explicit PacketFile(std::string path);
  PacketFile(PacketFile&&) noexcept;
  PacketFile& operator=(PacketFile&&) = delete;
  ~PacketFile();

  /// Opens the file; what cannot be read twice, such as a pipe, is copied to a temporary file.
  /// Returns why it failed, or nothing.
  std::string open();
  /// The same for an open file, which it closes, and the bytes that were read from it.
  std::string open(int file, std::span<const std::uint8_t> start);
  /// Goes to the first packet. Returns why it failed, or nothing.
  std::string rewind();

  /// The next packet of a recording, false behind the last one.
  bool next(Packet& packet);

  const std::string& path() const { return path_; }
  /// Where and how the file is damaged, known behind the last packet; empty: it is not.
  const std::string& damage() const { return damage_; }
  /// How many packets are not of a recording, up to here, and the first one's number in the file,
  /// as words; empty: none.
  std::string foreign() const;

 private:
  std::string spool(std::span<const std::uint8_t> start);
  bool read(Packet& packet, bool& isOurs);
  void stop(const std::string& words);

  struct Close {
    void operator()(pcap* packets) const;
  };
  std::string path_;
  std::vector<char> buffer_;  // of what is read through
  std::unique_ptr<pcap, Close> packets_;
  std::string damage_;
  std::uint64_t foreign_ = 0;       // packets
  std::uint64_t firstForeign_ = 0;  // its number
  std::uint64_t read_ = 0;          // packets
  int file_ = -1;
};

/// The packets of one file or of several, such as a ring's or those of several processes, in the
/// order of their times; those of one file stay in its order.
class Recording {
 public:
  /// Adds one more file, which is open.
  void add(PacketFile file) { files_.push_back(std::move(file)); }
  /// Opens one more file. Returns why it failed, or nothing.
  std::string add(const std::string& path);
  /// Goes to the first packet. Returns why it failed, or nothing.
  std::string rewind();

  /// The next packet, false behind the last one.
  bool next(Packet& packet);

  /// The files; behind the last packet, each says what was damaged or skipped.
  const std::vector<PacketFile>& files() const { return files_; }

 private:
  std::vector<PacketFile> files_;
  struct Head {
    Packet packet;
    bool isThere;
  };
  std::vector<Head> heads_;  // of each file
  std::size_t latest_ = 0;   // the file of the packet that was returned
  bool isStarted_ = false;
};

}  // namespace reader

#endif
