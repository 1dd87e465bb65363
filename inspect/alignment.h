#ifndef INSPECT_ALIGNMENT_H
#define INSPECT_ALIGNMENT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace inspect {

/// Equal elements of two sequences, by their indices.
struct Match {
  std::size_t before;
  std::size_t after;
};

/// A common subsequence, in ascending order: the longest one where at most 256 elements were added
/// or removed, else the longest ones of pieces with so many, one after the other. Takes memory in
/// proportion to the result, and 600 KB.
std::vector<Match> align(std::span<const std::uint64_t> before,
                         std::span<const std::uint64_t> after);

}  // namespace inspect

#endif
