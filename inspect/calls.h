#ifndef INSPECT_CALLS_H
#define INSPECT_CALLS_H

// The calls of recordings, and the forms in which they are shown.

#include <memory>

#include "inspect/annotate.h"
#include "inspect/input.h"
#include "inspect/options.h"
#include "reader/filter.h"
#include "shared/output.h"

namespace inspect {

using reader::Call;
using reader::second;

/// The calls that the options choose. What is wrong is reported on stderr.
class Calls {
 public:
  Calls(const Schema& schema, const Options& options)
      : schema_(schema), filter_(options.method, options.choice), calls_(recording_) {}
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;

  /// Adds an open file; false where it is no recording.
  bool add(Input& input);
  /// Opens and adds a file.
  bool add(const std::string& path);
  /// Goes to the first call. False: it failed.
  bool rewind();
  /// Why none of these methods' calls can be chosen, or nothing.
  std::string fault(const reader::Names& methods) const { return filter_.fault(methods); }
  /// The methods that are called; known behind rewind().
  const reader::Names& methods() const { return calls_.methods(); }
  /// The next call, false behind the last one.
  bool next(Call& call);
  /// Walks the call's request. False where it is damaged or of no known method, which is reported
  /// for the first few; false, too, where it was not recorded whole.
  bool walk(const Call& call, Message& message);
  /// To be called behind the last call: reports what the recordings lack. Returns the exit status.
  int finish();

  const Schema& schema() const { return schema_; }
  /// Ends whose requests the recordings do not have, up to here.
  std::uint64_t endsAlone() const { return calls_.endsAlone(); }

 private:
  void finish(const reader::PacketFile& file);

  const Schema& schema_;
  reader::Recording recording_;
  reader::Filter filter_;
  reader::RecordedCalls calls_;
  std::size_t refusals_ = 0;  // of calls
  bool isDamaged_ = false;
};

/// Shows the calls of recordings in the form that the options state. Returns the exit status.
/// @param first the first file that could be opened, open
/// @param from  its index; the failures of those before it were reported
int showCalls(const Schema& schema, const Options& options, Input& first, std::size_t from);

// The forms.

void listCalls(Calls& calls, shared::Output& output);
void writeCallsAsJson(Calls& calls, shared::Output& output);
void annotateCalls(Calls& calls, shared::Output& output);
void writeStatistics(Calls& calls, shared::Output& output);
void writeCallsPage(Calls& calls, shared::Output& output);
/// Writes what differs between two recordings; false where nothing does.
bool writeDifferences(Calls& before, Calls& after, shared::Output& output);

// Parts of them.

/// "2026-11-26T05:29:43.123456789Z"; no more digits than stated behind the point.
std::string timeText(std::uint64_t nanoseconds, unsigned digits = 9);
/// A call's duration in microseconds, "12.345"; empty where it has none.
std::string microseconds(const Call& call);
/// A call's status and its meaning: "0 success", "no end".
std::string statusText(const Call& call);
/// The status's meaning alone.
std::string meaningOf(std::uint32_t status);
/// A text as JSON.
std::string jsonText(std::string_view text);

}  // namespace inspect

#endif
