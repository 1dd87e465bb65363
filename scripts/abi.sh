#!/usr/bin/env bash
# Compares the library's binary interface with the one that is kept in abi/: records and functions
# by abidiff, the exports' order by diff. Installs what is missing (as root).
# usage: abi.sh [--update]     --update: keep the present interface
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ "$*" = "" ] || [ "$*" = --update ] || { echo "usage: abi.sh [--update]" >&2; exit 2; }
[ "$(uname -m)" = x86_64 ] || { echo "abi.sh: the kept interface is that of x86_64" >&2; exit 2; }
need "${build_packages[@]}" abigail-tools

build=build/abi
# The types are read from the debugging information, in which this tree has no place of its own.
cmake --preset gcc -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF \
  "-DCMAKE_CXX_FLAGS=-ffile-prefix-map=$PWD=." >/dev/null
cmake --build "$build" --target tarn_cli_mqc >"$build/log" || { cat "$build/log" >&2; exit 1; }

library=$build/libtarn_cli_mqc.so
types=libtarn_cli_mqc.x86-64.abi
order=libtarn_cli_mqc.exports
abidw --no-corpus-path --no-comp-dir-path --no-show-locs --exported-interfaces-only \
  --type-id-style hash --out-file "$build/$types" "$library"
nm --dynamic --defined-only --numeric-sort "$library" | awk '{print $3}' >"$build/$order"

if [ "$*" = --update ]; then
  cp "$build/$types" "$build/$order" abi/
  exit
fi

# abidiff's status tells of any change, harmless or not, and of its own failures.
failed=0
abidiff --harmless --no-show-locs "abi/$types" "$build/$types" || failed=1
diff -u "abi/$order" "$build/$order" || failed=1
if [ $failed -ne 0 ]; then
  echo "abi.sh: not the interface kept in abi/; if this is meant: scripts/abi.sh --update" >&2
  exit 1
fi
echo "the interface is as kept: $(wc -l <"abi/$order") exports"
