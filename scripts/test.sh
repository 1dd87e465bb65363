#!/usr/bin/env bash
# Builds everything and runs the tests. Installs what is missing (as root).
# usage: test.sh [PRESET]     a configure preset of CMakePresets.json; gcc by default
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh

[ $# -le 1 ] || { echo "usage: test.sh [PRESET]" >&2; exit 2; }
preset=${1:-gcc}
case $preset in
  gcc) need "${build_packages[@]}" "${test_packages[@]}" ;;
  clang | asan | tsan) need "${build_packages[@]}" "${test_packages[@]}" clang libclang-rt-14-dev llvm ;;
  aarch64 | s390x)
    need "${build_packages[@]}" "${test_packages[@]}" googletest qemu-user "g++-${preset/_/-}-linux-gnu"
    ;;
  *)
    echo "test.sh: no preset '$preset'" >&2
    exit 2
    ;;
esac

say() { echo "--- $* ($SECONDS s)"; }
say "configuring build/$preset"
quietly cmake --preset "$preset"
say building
cmake --build --preset "$preset"
say testing
# Most tests wait for something most of the time.
ctest --test-dir "build/$preset" --parallel $((2 * $(nproc))) --output-on-failure --progress --no-tests=error
say done
