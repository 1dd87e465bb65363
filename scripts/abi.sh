#!/usr/bin/env bash
# Compares the library's binary interface, for x86-64 and AArch64, with the one stored in
# abi/: records and functions by abidiff, the exports' order by diff. Installs what is missing (as
# root).
# usage: abi.sh [--update]     --update: store the present interface in abi/, with the layout of
#                              records, and new exports with this version in debian/
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ "$*" = "" ] || [ "$*" = --update ] || { echo "usage: abi.sh [--update]" >&2; exit 2; }
[ "$(uname -m)" = x86_64 ] || { echo "abi.sh: runs on x86_64" >&2; exit 2; }
need "${build_packages[@]}" g++-aarch64-linux-gnu abigail-tools
failed=0

# compare MACHINE PRESET
compare() {
  local build=build/abi/$1 library types=libtarn_cli_mqc.$1.abi order=libtarn_cli_mqc.exports
  library=$build/libtarn_cli_mqc.so
  # The types are read from the debugging information, in which this tree has no place of its own.
  quietly cmake --preset "$2" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARN_TESTS=OFF \
    "-DCMAKE_CXX_FLAGS=-ffile-prefix-map=$PWD=."
  quietly cmake --build "$build" --target tarn_cli_mqc records
  abidw --no-corpus-path --no-comp-dir-path --no-show-locs --exported-interfaces-only \
    --type-id-style hash --out-file "$build/$types" "$library"
  nm --dynamic --defined-only --numeric-sort "$library" | awk '{print $3}' >"$build/$order"

  if [ -n "$update" ]; then
    diff "abi/$order" "$build/$order" || true
    cp "$build/$types" "$build/$order" abi/
    return
  fi
  # abidiff's status reports any change, harmless or not, and its own failures.
  if abidiff --harmless --no-show-locs "abi/$types" "$build/$types" &&
    diff -u "abi/$order" "$build/$order"; then
    echo "$1: the interface is as stored, $(wc -l <"abi/$order") exports"
  else
    echo "$1: the interface is not as stored" >&2
    failed=1
  fi
}

# keep_layout: that tests compare on every machine
keep_layout() {
  build/abi/x86-64/methods/records >build/abi/records.txt
  diff abi/records.txt build/abi/records.txt || true
  cp build/abi/records.txt abi/
}

# keep_symbols: of what is listed twice the first, which is older, stays
keep_symbols() {
  local kept=debian/libtarn-cli-mqc.symbols made=build/abi/symbols version
  version=$(sed -n 's/^  VERSION //p' CMakeLists.txt)
  head -n 2 $kept >$made
  { tail -n +3 $kept && sed "s/.*/ &@Base $version/" abi/libtarn_cli_mqc.exports; } |
    LC_ALL=C sort -u -k 1,1 >>$made
  diff $kept $made || true
  cp $made $kept
}

update=$*
compare x86-64 gcc
compare aarch64 aarch64
if [ -n "$update" ]; then
  keep_layout
  keep_symbols
fi
if [ $failed -ne 0 ]; then
  echo "abi.sh: the interface differs from the one in abi/; if this is intended: scripts/abi.sh --update" >&2
  exit 1
fi
