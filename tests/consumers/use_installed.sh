#!/usr/bin/env bash
# Builds the consumers against an installed tree, wherever it lies, and runs them; then has the
# installed programs, which a build may leave out, show what the loopback captured, and serve.
# usage: use_installed.sh PREFIX LIBDIR
# environment: CC CXX; for a cross build TOOLCHAIN (a CMake file) and EMULATOR (a command)
set -eu
export CMAKE_GENERATOR=${CMAKE_GENERATOR:-Ninja} # make need not be there
[ $# -eq 2 ] && [ -d "$1/$2" ] || { echo "usage: use_installed.sh PREFIX LIBDIR" >&2; exit 2; }
prefix=$1 lib=$1/$2
here=$(cd "$(dirname "$0")" && pwd)
for tool in pkg-config cmake "${CC:?}" "${CXX:?}"; do
  command -v "$tool" >/dev/null || { echo "use_installed.sh: $tool is missing" >&2; exit 1; }
done
work=$(mktemp -d)
service=
trap '[ -z "$service" ] || kill "$service"; rm -rf "$work"' EXIT
mkdir "$work/captured"
read -ra emulator <<<"${EMULATOR:-}"
# The emulated loader needs the C library that it belongs to, not another that is installed.
libraries=$lib
[[ ! ${EMULATOR:-} =~ -L\ ([^ ]+) ]] || libraries+=:${BASH_REMATCH[1]}/lib
run() { LD_LIBRARY_PATH=$libraries ${emulator[@]+"${emulator[@]}"} "$@"; }

# build SOURCE NAME...: with the flags from pkg-config
build() {
  local source=$1 flags
  flags=$(PKG_CONFIG_LIBDIR=$lib/pkgconfig pkg-config --cflags --libs "${@:2}")
  read -ra flags <<<"$flags"
  "$CC" -std=c99 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror \
    "$here/$source.c" -o "$work/$source" -Wl,--as-needed "${flags[@]}"
}

echo "pkg-config:"
build caller tarn_cli_mqc tarn_loopback
run "$work/caller" "$work/captured"
if [ -z "${EMULATOR:-}" ]; then
  LD_PRELOAD=$lib/libtarn_record.so TARN_RECORD=$work/calls run "$work/caller" "$work/captured"
  grep -aq 'sync 1 ' "$work/calls" || { echo "nothing is recorded" >&2; exit 1; }
fi
if [ -e "$lib/pkgconfig/tarn_grpc.pc" ]; then
  build any_order tarn_grpc tarn_cli_mqc
fi
build any_order tarn_cli_mqc tarn_loopback
run "$work/any_order"
build any_order tarn_loopback tarn_cli_mqc
run "$work/any_order"

echo "each installed header alone, as C99 and as C++98:"
for header in "$prefix"/include/mqc_fes_intf.h "$prefix"/include/tarn/*.h; do
  for language in c c++; do
    standard=${language/%c/c99} && standard=${standard/%c++/c++98}
    "$CC" -x $language -std=$standard -Wall -Wextra -Wpedantic -Werror -fsyntax-only \
      -I "$prefix/include" "$header"
  done
done

version=$(sed -n 's/^ *VERSION //p' "$here/../../CMakeLists.txt")
for file in "$lib"/pkgconfig/tarn_*.pc; do
  module=$(basename "$file" .pc)
  found=$(PKG_CONFIG_LIBDIR=$lib/pkgconfig pkg-config --modversion "$module")
  [ "$found" = "$version" ] || { echo "$module.pc has version $found, not $version" >&2; exit 1; }
done

# The versions that find_package() accepts.
major=${version%%.*}
for asked in 0.9:FALSE "$major.0:TRUE" "$version:TRUE" "$major.99:FALSE" "$((major + 1)).0:FALSE"; do
  cat >"$work/asks.cmake" <<END
set(PACKAGE_FIND_VERSION ${asked%:*})
string(REGEX MATCH "^[0-9]+" PACKAGE_FIND_VERSION_MAJOR \${PACKAGE_FIND_VERSION})
set(CMAKE_SIZEOF_VOID_P 8)
include($lib/cmake/tarn_cli_mqc/tarn_cli_mqc-config-version.cmake)
if(NOT "\${PACKAGE_VERSION_COMPATIBLE}" STREQUAL "${asked#*:}")
  message(FATAL_ERROR "find_package of version ${asked%:*}: '\${PACKAGE_VERSION_COMPATIBLE}'")
endif()
END
  cmake -P "$work/asks.cmake"
done

# build_with_cmake SOURCE_DIR BUILD_DIR [OPTION]...
build_with_cmake() {
  cmake -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=Release -DCMAKE_SKIP_RPATH=ON \
    ${TOOLCHAIN:+"-DCMAKE_TOOLCHAIN_FILE=$TOOLCHAIN"} "-DCMAKE_PREFIX_PATH=$prefix" "${@:3}" >"$work/log" 2>&1 &&
    cmake --build "$2" >>"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
}

# readme LANGUAGE: the block in that language that README.md shows
readme() { awk -v open="^\`\`\`$1\$" '$0 ~ open {on = 1; next} /^```$/ {on = 0} on' "$here/../../README.md"; }

echo "the program in README.md:"
mkdir "$work/readme"
readme c >"$work/readme/caller.c"
readme cmake >"$work/readme/CMakeLists.txt"
build_with_cmake "$work/readme" "$work/readme/build" \
  "-DCMAKE_C_FLAGS=-std=c99 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror"
run "$work/readme/build/caller" | diff - <(printf '%s: status 0\n' synchronous asynchronous)

echo "find_package:"
build_with_cmake "$here/find_package" "$work/build"
mkdir "$work/kept"
run "$work/build/caller" "$work/kept"
run "$work/build/platform_first"
run "$work/build/platform_last"

[ -e "$prefix/bin/tarn-inspect" ] || exit 0
echo "tarn-inspect:"
sent=$work/captured/0001-sendClassifierTemplate.compact.bin
run "$prefix/bin/tarn-inspect" "$sent" >"$work/json"
run "$prefix/bin/tarn-inspect" --annotate "$sent" >"$work/annotated"
grep '"f6": 287454020' "$work/json"
grep 'f6: uint 287454020 (0x11223344)' "$work/annotated"

if [ -e "$prefix/bin/tarn-send" ]; then
  echo "tarn-send:"
  run "$prefix/bin/tarn-send" --platform libtarn_loopback.so --dry-run sendClassifierTemplate - <"$work/json" |
    cmp - "$sent"
  TARN_LOOPBACK_RECORD=$work/sent run "$prefix/bin/tarn-send" --platform libtarn_loopback.so sendRuleMac f3=37
  run "$prefix/bin/tarn-send" --platform libtarn_loopback.so --replay "$work/sent" --check
  run "$prefix/bin/tarn-inspect" --where 'f3 == 37' "$work/sent" | grep ' sendRuleMac .* 0 success$'
fi

[ -z "${EMULATOR:-}" ] && [ -e "$prefix/bin/tarn-serve" ] && [ -e "$lib/libtarn_grpc.so" ] || exit 0
echo "tarn-serve:"
mkdir "$work/served"
export TARN_GRPC_TARGET=unix:$work/socket TARN_GRPC_WAIT=1
LD_LIBRARY_PATH=$lib "$prefix/bin/tarn-serve" --listen "$TARN_GRPC_TARGET" \
  --capture "$work/served" >"$work/lines" &
service=$!
run "$work/build/grpc"
build any_order tarn_cli_mqc tarn_grpc
run "$work/any_order"
grep qos_group_port "$work/lines"
[ ! -e "$prefix/bin/tarn-send" ] || (unset LD_LIBRARY_PATH && "$prefix/bin/tarn-send" act_hqos_policy f0=1)
run "$prefix/bin/tarn-inspect" "$work"/served/*-qos_group_port.compact.bin | grep -c '"f[0-4]": 0'
