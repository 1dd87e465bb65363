#!/usr/bin/env bash
# The tree in a project that takes it in; what a configuration refuses; absolute places.
# usage: build_test.sh SOURCE_DIR      environment: CC CXX CMAKE_GENERATOR
set -eu
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "build: $*" >&2; cat "$work/log" >&2; exit 1; }
configure() { cmake -S "$source" -B "$work/alone" -DBUILD_TESTING=OFF "$@" >"$work/log" 2>&1; }

# refuses WORDS OPTION...: in one line with the words
refuses() {
  ! configure -U 'TARN_*' "${@:2}" || fail "takes ${*:2}"
  [ "$(grep -cE "^ +[A-Z_]+=[A-Za-z]+[:,].*$1" "$work/log")" -eq 1 ] || fail "does not say '$1' of ${*:2}"
}
refuses 'ON, OFF or AUTO' -DTARN_GRPC=maybe
refuses 'shared library alone' -DBUILD_SHARED_LIBS=OFF
nothing='-DBUILD_SHARED_LIBS=ON -DCMAKE_REQUIRED_FLAGS=-nostdinc' # as a compiler without packages
# shellcheck disable=SC2086
for part in GRPC:libgrpc TOOLS:nlohmann-json3-dev SERVICE:libssl-dev; do
  refuses "needs .*${part#*:}.* -DTARN_${part%:*}=AUTO" "-DTARN_${part%:*}=ON" $nothing
done
# shellcheck disable=SC2086
configure -U 'TARN_*' $nothing -DCMAKE_INSTALL_PREFIX=/opt/tarn -DCMAKE_INSTALL_LIBDIR=/opt/lib \
  -DCMAKE_INSTALL_INCLUDEDIR=/opt/include || fail "is not configured where nothing is"
for what in tarn_grpc:libflatbuffers tarn-inspect:libflatbuffers tarn-serve:libflatbuffers tarn-send:nlohmann-json3 \
  tarn_script:nlohmann-json3; do
  grep -q "Left out: ${what%:*}, which needs .*${what#*:}-dev" "$work/log" ||
    fail "does not say why ${what%:*} is left out"
done
grep -E '^[a-z]+=' "$work/alone/installed/tarn_loopback.pc" | diff - <(
  printf '%s\n' prefix=/opt/tarn libdir=/opt/lib includedir=/opt/include
) || fail "absolute places are others in the .pc file"

cmake -S "$source/tests/consumers/add_subdirectory" -B "$work/parent" -DTARN_GRPC=OFF >"$work/log" 2>&1 &&
  cmake --build "$work/parent" --parallel 2 >>"$work/log" 2>&1 || fail "cannot be taken in"
"$work/parent/any_order" || fail "a program of a parent fails"
# under_script PLATFORM STATUS: what a call then comes to
echo '{"rules": [{"answers": [{"status": 77}]}]}' >"$work/rules"
under_script() {
  local status=0
  TARN_LOOPBACK_SCRIPT=$work/rules LD_PRELOAD=$1 "$work/parent/any_order" >"$work/log" 2>&1 || status=$?
  [ "$status" -eq "$2" ] || fail "a call under a script ends with $status"
}
under_script '' 77
cmake --build "$work/alone" --target tarn_loopback >"$work/log" 2>&1 || fail "the loopback needs more than a compiler"
under_script "$(find "$work/alone" -name libtarn_loopback.so)" 8
grep -q 'built without scripts, which need nlohmann-json3-dev$' "$work/log" || fail "does not say why there are no scripts"
cmake --install "$work/parent" --prefix "$work/root" >/dev/null
for file in include/mqc_fes_intf.h include/tarn/loopback.h libtarn_cli_mqc.so libtarn_loopback.so \
  tarn_cli_mqc-config.cmake pkgconfig/tarn_loopback.pc; do
  find "$work/root" -type f | grep -q "/$file$" || fail "a parent's installation lacks $file"
done
[ ! -e "$work/root/bin" ] && [ ! -e "$work/root/include/mqc_service.h" ] ||
  fail "a parent's installation has what it did not ask for"
echo "a project can take the tree in; what cannot be built is refused in words"
