#!/usr/bin/env bash
# Builds the bench with gcc and clang in Release, runs it and prints one table.
#
# usage: scripts/bench.sh [--instructions] [--runs N]
#   --instructions  count instructions under callgrind instead of timing
#   --runs N        processes of each compiler whose timings are pooled (5)
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

fail() {
  echo "bench.sh: $1 (usage: scripts/bench.sh [--instructions] [--runs N])" >&2
  exit 2
}

mode=timings
runs=5
while [ $# -gt 0 ]; do
  case $1 in
    --instructions) mode=instructions ;;
    --runs)
      [[ ${2-} =~ ^[1-9][0-9]*$ ]] || fail "--runs needs a positive number"
      runs=$2
      shift
      ;;
    *) fail "unknown argument '$1'" ;;
  esac
  shift
done

build() {
  cmake --preset "$1" -B "build/bench-$1" -DTARN_BUILD_BENCH=ON -DBUILD_TESTING=OFF >/dev/null
  cmake --build "build/bench-$1" --target mqc_bench >/dev/null
}

program() { echo "build/bench-$1/bench/mqc_bench"; }

time_once() {
  "$(program "$1")" --benchmark_min_time=0.002 --benchmark_repetitions=5 \
    --benchmark_enable_random_interleaving=true --benchmark_out_format=json \
    --benchmark_out="$2" >"$2.log" 2>&1 || { cat "$2.log" >&2; fail "$1's program failed"; }
}

count_once() {
  valgrind -q --tool=callgrind --combine-dumps=yes --callgrind-out-file="$2" \
    "$(program "$1")" --instructions
}

need "${build_packages[@]}" clang python3 valgrind libbenchmark-dev libflatbuffers-dev >&2
results=build/bench-results
rm -rf "$results"
mkdir -p "$results"
for compiler in gcc clang; do
  build "$compiler"
  "$(program "$compiler")" --list >"$results/$compiler.list"
done
cmp "$results/gcc.list" "$results/clang.list" || fail "gcc and clang encode differently"

if [ "$mode" = instructions ]; then
  for compiler in gcc clang; do count_once "$compiler" "$results/$compiler.1.run"; done
else
  for run in $(seq "$runs"); do
    echo "run $run of $runs" >&2
    for compiler in gcc clang; do time_once "$compiler" "$results/$compiler.$run.run"; done
  done
fi
python3 bench/table.py "$results"
