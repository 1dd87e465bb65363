#include "inspect/alignment.h"

#include <algorithm>

namespace inspect {
namespace {

using Index = std::ptrdiff_t;

constexpr Index mostEdits = 256;  // of a piece

/// A piece: what is reached with each number of edits, by the diagonal, which is the index before
/// less that after.
class Piece {
 public:
  Piece(std::span<const std::uint64_t> before, std::span<const std::uint64_t> after)
      : before_(before), after_(after) {}

  /// Goes to the end of both, or as far as the edits reach; adds the matches on the way. Returns
  /// the place.
  Match run(Match start, std::vector<Match>& matches) {
    for (Index edits = 0; edits <= mostEdits; ++edits) {
      rows_.emplace_back(static_cast<std::size_t>(2 * edits + 1));
      for (Index diagonal = -edits; diagonal <= edits; diagonal += 2) {
        const Index reached = slide(begin(edits, diagonal), diagonal);
        at(edits, diagonal) = reached;
        if (isEnd(reached, diagonal)) return trace(edits, diagonal, start, matches);
      }
    }
    return trace(mostEdits, farthest(), start, matches);
  }

 private:
  Index& at(Index edits, Index diagonal) {
    return rows_[static_cast<std::size_t>(edits)][static_cast<std::size_t>(edits + diagonal)];
  }
  Index sizeBefore() const { return static_cast<Index>(before_.size()); }
  Index sizeAfter() const { return static_cast<Index>(after_.size()); }

  /// Whether the last of the edits adds an element rather than removing one.
  bool isAdded(Index edits, Index diagonal) {
    if (diagonal == -edits) return true;
    return diagonal != edits && at(edits - 1, diagonal - 1) < at(edits - 1, diagonal + 1);
  }
  /// The index before, behind the last of the edits.
  Index begin(Index edits, Index diagonal) {
    if (edits == 0) return 0;
    return isAdded(edits, diagonal) ? at(edits - 1, diagonal + 1) : at(edits - 1, diagonal - 1) + 1;
  }
  Index slide(Index from, Index diagonal) const {
    while (from < sizeBefore() && from - diagonal < sizeAfter() &&
           before_[static_cast<std::size_t>(from)] ==
               after_[static_cast<std::size_t>(from - diagonal)])
      ++from;
    return from;
  }
  bool isEnd(Index reached, Index diagonal) const {
    return reached >= sizeBefore() && reached - diagonal >= sizeAfter();
  }

  /// The diagonal on which most was read of both.
  Index farthest() {
    Index best = 0;
    Index most = -1;
    for (Index diagonal = -mostEdits; diagonal <= mostEdits; diagonal += 2) {
      const Index reached = at(mostEdits, diagonal);
      const bool isInside = reached <= sizeBefore() && reached - diagonal <= sizeAfter();
      if (!isInside || 2 * reached - diagonal <= most) continue;
      most = 2 * reached - diagonal;
      best = diagonal;
    }
    return best;
  }

  Match trace(Index edits, Index diagonal, Match start, std::vector<Match>& matches) {
    const auto place = [start](Index before, Index on) {
      return Match{start.before + static_cast<std::size_t>(before),
                   start.after + static_cast<std::size_t>(before - on)};
    };
    const Match end = place(at(edits, diagonal), diagonal);
    const std::size_t first = matches.size();
    for (;; --edits) {
      const Index from = begin(edits, diagonal);
      for (Index i = at(edits, diagonal); i > from; --i) matches.push_back(place(i - 1, diagonal));
      if (edits == 0) break;
      diagonal += isAdded(edits, diagonal) ? 1 : -1;
    }
    std::reverse(matches.begin() + static_cast<Index>(first), matches.end());
    return end;
  }

  std::span<const std::uint64_t> before_;
  std::span<const std::uint64_t> after_;
  std::vector<std::vector<Index>> rows_;  // by the edits
};

using Elements = std::span<const std::uint64_t>;

/// A run of matches whose elements are repeated behind it, which it may match as well: then what
/// was added before the run and what was removed behind it are in one place.
void slide(std::span<Match> run, std::size_t Match::*side, Elements elements, std::size_t by) {
  const bool isRepeated = std::all_of(run.begin(), run.end(), [&](const Match& match) {
    return elements[match.*side] == elements[match.*side + by];
  });
  if (!isRepeated) return;
  for (Match& match : run) match.*side += by;
}

std::size_t endOfRun(const std::vector<Match>& matches, std::size_t at) {
  for (++at; at < matches.size(); ++at) {
    const Match& former = matches[at - 1];
    if (matches[at].before != former.before + 1 || matches[at].after != former.after + 1) break;
  }
  return at;
}

/// Brings additions and removals together: a change of one of several equal elements is both.
void join(Elements before, Elements after, std::vector<Match>& matches) {
  Match place = {0, 0};
  for (std::size_t from = 0, to = 0; from < matches.size(); from = to) {
    to = endOfRun(matches, from);
    const Match next = to < matches.size() ? matches[to] : Match{before.size(), after.size()};
    const std::span<Match> run = std::span(matches).subspan(from, to - from);
    const bool isRemoved = run.front().before > place.before;
    const bool isAdded = run.front().after > place.after;
    const std::size_t removed = next.before - run.back().before - 1;
    const std::size_t added = next.after - run.back().after - 1;
    if (isAdded && !isRemoved && added == 0 && removed > 0)
      slide(run, &Match::before, before, removed);
    if (isRemoved && !isAdded && removed == 0 && added > 0) slide(run, &Match::after, after, added);
    place = {run.back().before + 1, run.back().after + 1};
  }
}

}  // namespace

std::vector<Match> align(std::span<const std::uint64_t> before,
                         std::span<const std::uint64_t> after) {
  std::vector<Match> matches;
  for (Match place = {0, 0}; place.before < before.size() && place.after < after.size();) {
    place = Piece(before.subspan(place.before), after.subspan(place.after)).run(place, matches);
  }
  join(before, after, matches);
  return matches;
}

}  // namespace inspect
