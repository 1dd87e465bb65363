#!/usr/bin/env bash
# Builds the bench with gcc and clang in Release, runs it, prints tables and draws plots.
#
# usage: scripts/bench.sh [--instructions | --delivery | --python | --runs N] [--against COMMIT] [--update-docs]
#   --instructions    count instructions under callgrind instead of timing
#   --delivery        time calls over gRPC to a service in another process
#   --python          time calls from Python beside those in C
#   --runs N          processes of each compiler whose timings are pooled (5)
#   --against COMMIT  time the encoders of that commit side by side
#   --update-docs     put figures and plots into docs/ instead of build/bench-results
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

fail() {
  echo "bench.sh: $1" >&2
  exit "${2-1}"
}
refuse() { fail "$1 ($(sed -n 's/^# usage: //p' "$0"))" 2; }

mode=timings
runs=
against=
page=()
while [ $# -gt 0 ]; do
  case $1 in
    --instructions) mode=instructions ;;
    --delivery) mode=delivery ;;
    --python) mode=python ;;
    --runs)
      [[ ${2-} =~ ^[1-9][0-9]*$ ]] || refuse "--runs needs a positive number"
      runs=$2
      shift
      ;;
    --against)
      need git >&2
      against=$(git rev-parse --verify --quiet "${2-}^{commit}") ||
        refuse "--against needs a commit"
      shift
      ;;
    --update-docs) page=(docs/performance.md) ;;
    *) refuse "unknown argument '$1'" ;;
  esac
  shift
done
[ "$mode" = timings ] || [ -z "$runs$against" ] ||
  refuse "--$mode goes with neither --runs nor --against"
[ "$mode" != instructions ] || [ -z "${page[*]}" ] ||
  refuse "--instructions goes without --update-docs"

program() { echo "build/bench-$1/bench/mqc_bench"; }

# build COMPILER SOURCE DIRECTORY TARGET
build() {
  quietly cmake --preset "$1" -S "$2" -B "$3" -DTARN_BUILD_BENCH=ON -DBUILD_TESTING=OFF
  quietly cmake --build "$3" --target "$4"
}

# The library of the other commit, which has to write the same bytes.
build_then() {
  mkdir -p build/bench-then/source
  git archive "$against" | tar -x -C build/bench-then/source
  for compiler in gcc clang; do
    build "$compiler" build/bench-then/source "build/bench-then/$compiler" tarn_cli_mqc
    LD_LIBRARY_PATH=build/bench-then/$compiler "$(program "$compiler")" --list |
      cmp - "$results/$compiler.list" || fail "$against encodes differently"
  done
}

# time_once COMPILER OUTPUT FILTER
time_once() {
  "$(program "$1")" --benchmark_filter="$3" --benchmark_repetitions=7 \
    --benchmark_enable_random_interleaving=true --benchmark_out_format=json \
    --benchmark_out="$2" >/dev/null 2>"$2.log" || { cat "$2.log" >&2; fail "$1's program failed"; }
}

time_all() {
  local patterns='/(none|all|1|64|4096)/' count=${runs:-5}
  for run in $(seq "$count"); do
    echo "run $run of $count" >&2
    for compiler in gcc clang; do
      time_once "$compiler" "$results/$compiler.$run.run" \
        "^(compact|builder|floor|call)/|$patterns"
      [ -z "$against" ] || LD_LIBRARY_PATH=build/bench-then/$compiler time_once "$compiler" \
        "$results/$compiler-then.$run.run" "^(compact|size|pair|full)/.*$patterns"
    done
  done
}

count_all() {
  for compiler in gcc clang; do
    valgrind -q --tool=callgrind --combine-dumps=yes \
      --callgrind-out-file="$results/$compiler.1.run" "$(program "$compiler")" --instructions
  done
}

# Debian's Python, which has Debian's matplotlib, whatever else is on the machine.
report() { /usr/bin/python3 "bench/$1.py" "$results" "${page[@]}"; }

time_delivery() {
  build gcc . build/bench-gcc delivery_bench
  build/bench-gcc/bench/delivery_bench --benchmark_repetitions=9 --benchmark_min_time=0.25 \
    --benchmark_enable_random_interleaving=true --benchmark_out_format=json \
    --benchmark_out="$results/delivery.json" >/dev/null 2>"$results/delivery.log" ||
    { cat "$results/delivery.log" >&2; fail "the program failed"; }
  report delivery_report
}

time_python() {
  for target in tarn_python python_floor; do build gcc . build/bench-gcc "$target"; done
  PYTHONPATH=build/bench-gcc/python /usr/bin/python3 -B bench/python_calls.py build/bench-gcc "${page[@]}"
}

need "${build_packages[@]}" clang valgrind libbenchmark-dev "${grpc_packages[@]}" \
  python3-matplotlib >&2
results=build/bench-results
rm -rf "$results" build/bench-then
mkdir -p "$results"
if [ "$mode" = delivery ]; then
  time_delivery
  exit
fi
if [ "$mode" = python ]; then
  time_python
  exit
fi
for compiler in gcc clang; do
  build "$compiler" . "build/bench-$compiler" mqc_bench
  "$(program "$compiler")" --list >"$results/$compiler.list"
done
cmp "$results/gcc.list" "$results/clang.list" || fail "gcc and clang encode differently"
[ -z "$against" ] || build_then
if [ "$mode" = timings ]; then time_all; else count_all; fi
report report
