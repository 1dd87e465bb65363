#!/usr/bin/env bash
# Makes the Debian packages for amd64 and arm64 in build/packages, and checks them: what they say,
# what is in them, and that programs can be built against them and run. Installs what is missing
# (as root).
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ $# -eq 0 ] || { echo "usage: package.sh" >&2; exit 2; }
[ "$(dpkg --print-architecture)" = amd64 ] || { echo "package.sh: runs on amd64" >&2; exit 2; }
foreign arm64
need "${build_packages[@]}" "${grpc_packages[@]}" libgrpc++-dev:arm64 \
  libflatbuffers-dev:arm64 binutils dpkg-dev file pkg-config g++-aarch64-linux-gnu qemu-user

version=$(sed -nE 's/^ *VERSION ([0-9.]+)$/\1/p' CMakeLists.txt)
out=$PWD/build/packages
rm -rf "$out"
mkdir -p "$out"
fail() { echo "package.sh: $*" >&2; exit 1; }

# make_packages ARCHITECTURE PRESET TRIPLET
make_packages() {
  local build=$out/build-$1
  quietly cmake --preset "$2" -B "$build" -DBUILD_TESTING=OFF -DCMAKE_INSTALL_PREFIX=/usr \
    "-DCMAKE_INSTALL_LIBDIR=lib/$3"
  quietly cmake --build "$build"
  quietly cpack --config "$build/CPackConfig.cmake" -B "$build/cpack"
  mv "$build"/cpack/*.deb "$out"
}

deb() { echo "$out/$1_${version}_$arch.deb"; }

# says PACKAGE FIELD PATTERN: the control file's field is like the pattern
says() {
  local value
  value=$(dpkg-deb --field "$(deb "$1")" "$2" | head -n 1)
  grep -qxE -- "$3" <<<"$value" || fail "$1 for $arch says '$2: $value', not '$3'"
}

# holds PACKAGE: its files are those named on standard input
holds() {
  sort >"$out/expected"
  dpkg-deb --fsys-tarfile "$(deb "$1")" | tar t | grep -v '/$' | sed 's,^\.,,' | sort >"$out/held"
  diff "$out/expected" "$out/held" >&2 || fail "$1 for $arch: < files expected, > files in it"
}

# newest LIBRARY NAMESPACE: the newest symbol version that the library needs of the namespace
newest() { readelf -VW "$1" | sed -nE "s/.*Name: $2_([0-9.]+) .*/\1/p" | sort -V | tail -n 1; }

# check ARCHITECTURE TRIPLET MACHINE
check() {
  arch=$1
  local triplet=$2 lib=/usr/lib/$2 machine=$3 root=$out/root-$1 package library
  for package in libtarn-cli-mqc libtarn-cli-mqc-dev libtarn-platform-dev \
    libtarn-platform-grpc tarn-serve; do
    [ -f "$(deb $package)" ] || fail "no package $(deb $package)"
    says $package Architecture "$arch"
    says $package Description '(client library|stand-in|delivery|service) .*'
    dpkg-deb -x "$(deb $package)" "$root"
  done
  for library in "$root$lib"/*.so; do
    readelf -h "$library" | grep -q "Machine: .*$machine" || fail "$library is not for $machine"
  done

  says libtarn-cli-mqc Depends "libc6 \(>= $(newest "$root$lib/libtarn_cli_mqc.so" GLIBC)\)"
  says libtarn-cli-mqc-dev Depends "libtarn-cli-mqc \(= $version\), libc6 .*, libflatbuffers2 .*, \
libstdc\+\+6 .*"
  # GCC 12 is where GLIBCXX_3.4.30 came, GCC 9 where 3.4.26 came.
  library=$root$lib/libtarn_platform.so
  [ "$(newest "$library" GLIBCXX)" = 3.4.30 ] || fail "$library needs another libstdc++6 than 12"
  says libtarn-platform-dev Depends "libtarn-cli-mqc-dev \(= $version\), \
libc6 \(>= $(newest "$library" GLIBC)\), libgcc-s1 \(>= 3\.0\), libstdc\+\+6 \(>= 12\)"
  library=$root$lib/libtarn_platform_grpc.so
  [ "$(newest "$library" GLIBCXX)" = 3.4.26 ] || fail "$library needs another libstdc++6 than 9"
  says libtarn-platform-grpc Depends "libtarn-cli-mqc \(= $version\), \
libabsl20220623 \(>= 0~20220623\.0-1\), libc6 \(>= $(newest "$library" GLIBC)\), libgcc-s1 \(>= 3\.0\), \
libgrpc\+\+1\.51 \(>= 1\.51\.1\), libgrpc29 \(>= 1\.51\.1\), libstdc\+\+6 \(>= 9\)"
  library=$root/usr/bin/tarn-serve # GCC 11 is where GLIBCXX_3.4.29 came
  [ "$(newest "$library" GLIBCXX)" = 3.4.29 ] || fail "$library needs another libstdc++6 than 11"
  readelf -h "$library" | grep -q "Machine: .*$machine" || fail "$library is not for $machine"
  says tarn-serve Depends "libtarn-cli-mqc-dev \(= $version\), \
libabsl20220623 \(>= 0~20220623\.0-1\), libc6 \(>= $(newest "$library" GLIBC)\), \
libflatbuffers2 \(>= 1\.10\.0\), libgcc-s1 \(>= 3\.0\), libgrpc\+\+1\.51 \(>= 1\.51\.1\), \
libgrpc29 \(>= 1\.51\.1\), libstdc\+\+6 \(>= 11\)"

  holds libtarn-cli-mqc <<<"$lib/libtarn_cli_mqc.so"
  holds libtarn-cli-mqc-dev <<END
/usr/bin/tarn-inspect
/usr/share/bash-completion/completions/tarn-inspect
/usr/share/man/man1/tarn-inspect.1
/usr/include/mqc_fes_intf.h
/usr/include/mqc_service.h
/usr/include/tarn_platform/platform/bounded_memory.h
/usr/include/tarn_platform/platform/log.h
/usr/include/tarn_platform/platform/rpc.h
/usr/include/tarn_platform/platform/status.h
$lib/cmake/tarn_cli_mqc/tarn_cli_mqc-config-version.cmake
$lib/cmake/tarn_cli_mqc/tarn_cli_mqc-config.cmake
$lib/cmake/tarn_cli_mqc/tarn_cli_mqc-targets-release.cmake
$lib/cmake/tarn_cli_mqc/tarn_cli_mqc-targets.cmake
$lib/pkgconfig/tarn_cli_mqc.pc
/usr/share/tarn_cli_mqc/schema/mqc_fes_intf.fbs
/usr/share/tarn_cli_mqc/schema/mqc_fes_intf_service.fbs
/usr/share/tarn_cli_mqc/schema/mqc_reply.fbs
/usr/share/tarn_cli_mqc/service/mqc_fes_intf.lua
END
  holds libtarn-platform-dev <<END
/usr/include/tarn_platform/platform/stand_in.h
$lib/cmake/tarn_cli_mqc/tarn_platform-targets-release.cmake
$lib/cmake/tarn_cli_mqc/tarn_platform-targets.cmake
$lib/libtarn_platform.so
$lib/pkgconfig/tarn_platform.pc
END
  holds libtarn-platform-grpc <<END
/usr/include/tarn_platform/platform/grpc.h
$lib/cmake/tarn_cli_mqc/tarn_platform_grpc-targets-release.cmake
$lib/cmake/tarn_cli_mqc/tarn_platform_grpc-targets.cmake
$lib/libtarn_platform_grpc.so
$lib/pkgconfig/tarn_platform_grpc.pc
END
  holds tarn-serve <<<"/usr/bin/tarn-serve"
  echo "$arch packages as expected; programs built against them:"
  tests/consumers/use_installed.sh "$root/usr" "lib/$triplet"
}

make_packages amd64 gcc x86_64-linux-gnu
make_packages arm64 aarch64 aarch64-linux-gnu

CC=gcc CXX=g++ check amd64 x86_64-linux-gnu X86-64
quietly apt-get --simulate --no-install-recommends install "$out"/*_amd64.deb
CC=aarch64-linux-gnu-gcc CXX=aarch64-linux-gnu-g++ TOOLCHAIN=$PWD/cmake/aarch64.cmake \
  EMULATOR='qemu-aarch64 -L /usr/aarch64-linux-gnu' check arm64 aarch64-linux-gnu AArch64

rm -r "$out"/{expected,held}
ls "$out"/*.deb
