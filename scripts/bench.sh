#!/usr/bin/env bash
# Builds the bench with gcc and clang in Release, runs it, prints tables and draws plots.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

usage="usage: scripts/bench.sh [--instructions] [--runs N] [--against COMMIT] [--update-docs]
  --instructions    count instructions under callgrind instead of timing
  --runs N          processes of each compiler whose timings are pooled (5)
  --against COMMIT  time the encoders of that commit side by side
  --update-docs     put the figures and plots into docs/performance.md"

fail() {
  echo "bench.sh: $1" >&2
  exit "${2-1}"
}

mode=timings
runs=5
against=
page=()
while [ $# -gt 0 ]; do
  case $1 in
    --instructions) mode=instructions ;;
    --runs)
      [[ ${2-} =~ ^[1-9][0-9]*$ ]] || fail "--runs needs a positive number" 2
      runs=$2
      shift
      ;;
    --against)
      against=$(git rev-parse --verify --quiet "${2-}^{commit}") || fail "--against needs a commit" 2
      shift
      ;;
    --update-docs) page=(docs/performance.md) ;;
    *) fail "unknown argument '$1'"$'\n'"$usage" 2 ;;
  esac
  shift
done
[ "$mode" = timings ] || [ -z "$against${page[*]-}" ] || fail "--instructions goes with none of the others" 2

# build SOURCE TARGET COMPILER DIRECTORY
build() {
  cmake -S "$1" --preset "$3" -B "$4" -DTARN_BUILD_BENCH=ON -DBUILD_TESTING=OFF >/dev/null
  cmake --build "$4" --target "$2" >/dev/null
}

program() { "build/bench-$1/bench/mqc_bench" "${@:2}"; }

# time_once COMPILER OUTPUT FILTER
time_once() {
  program "$1" --benchmark_filter="$3" --benchmark_repetitions=7 \
    --benchmark_enable_random_interleaving=true --benchmark_out_format=json \
    --benchmark_out="$2" >"$2.log" 2>&1 || { cat "$2.log" >&2; fail "$1's program failed"; }
}

# The same program with the other commit's library.
time_against() {
  LD_LIBRARY_PATH=$PWD/build/bench-against/$1 time_once "$1" "$2" '^(compact|size|pair|full)/.*/(none|all|1|64|4096)/'
}

count_once() {
  valgrind -q --tool=callgrind --combine-dumps=yes --callgrind-out-file="$2" \
    "build/bench-$1/bench/mqc_bench" --instructions
}

need "${build_packages[@]}" clang python3-matplotlib valgrind libbenchmark-dev libflatbuffers-dev >&2
results=build/bench-results
rm -rf "$results"
mkdir -p "$results"
if [ -n "$against" ]; then
  rm -rf build/bench-against
  mkdir -p build/bench-against/source
  git archive "$against" | tar -x -C build/bench-against/source
fi
for compiler in gcc clang; do
  build . mqc_bench "$compiler" "build/bench-$compiler"
  program "$compiler" --list >"$results/$compiler.list"
  [ -z "$against" ] || build build/bench-against/source tarn_cli_mqc "$compiler" "build/bench-against/$compiler"
done
cmp "$results/gcc.list" "$results/clang.list" || fail "gcc and clang encode differently"

if [ "$mode" = instructions ]; then
  for compiler in gcc clang; do count_once "$compiler" "$results/$compiler.1.run"; done
else
  for run in $(seq "$runs"); do
    echo "run $run of $runs" >&2
    for compiler in gcc clang; do
      time_once "$compiler" "$results/$compiler.$run.run" '^(compact|builder|floor)/|/(none|all|1|64|4096)/|^call/'
      [ -z "$against" ] || time_against "$compiler" "$results/$compiler-against.$run.run"
    done
  done
fi
# Debian's, which has Debian's matplotlib, whatever else the machine has.
/usr/bin/python3 bench/report.py "$results" "${page[@]}"
