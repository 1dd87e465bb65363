#!/usr/bin/env bash
# Installs a build tree component by component, moves the installed tree, and builds and runs the
# consumers against it.
# usage: consumers_test.sh BUILD_DIR LIBDIR      with the environment that use_installed.sh takes
set -eu
export CMAKE_GENERATOR=${CMAKE_GENERATOR:-Ninja} # make need not be there
[ $# -eq 2 ] || { echo "usage: consumers_test.sh BUILD_DIR LIBDIR" >&2; exit 2; }
build=$1 libdir=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "consumers: $*" >&2; exit 1; }
lay_out() { cmake --install "$build" --prefix "$work/first" --component "$1" >/dev/null; }

lay_out runtime
lay_out development
if CXX="$CXX" cmake -S "$here/find_package" -B "$work/without" \
  ${TOOLCHAIN:+"-DCMAKE_TOOLCHAIN_FILE=$TOOLCHAIN"} \
  "-DCMAKE_PREFIX_PATH=$work/first" >"$work/log" 2>&1; then
  fail "find_package finds the component tarn_loopback, which is not installed"
fi
grep -q 'its component tarn_loopback is not installed' "$work/log" ||
  { cat "$work/log" >&2; fail "find_package does not say which component is missing"; }
for component in loopback grpc record serve send; do lay_out $component; done

mv "$work/first" "$work/elsewhere"
absolute=$(grep -rlIF -e "$work" -e "$build" "$work/elsewhere") &&
  fail "an absolute path in $absolute"
for program in "$build"/bin/tarn-*; do
  [ ! -e "$program" ] || [ -e "$work/elsewhere/bin/${program##*/}" ] || fail "${program##*/} is not installed"
done
"$here/use_installed.sh" "$work/elsewhere" "$libdir"
