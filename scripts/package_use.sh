#!/usr/bin/env bash
# In a root that is thrown away: installs the packages of /packages, those of both architectures side
# by side, uses them, and purges them. Run by package.sh.
set -eu
[ $# -eq 0 ] && [ -d /packages ] || { echo "package_use.sh: is run by package.sh" >&2; exit 2; }
cd /source
. scripts/packages.sh
fail() { echo "package_use.sh: $*" >&2; exit 1; }

# Places that dpkg, apt and the loader write to on their own.
list_files() {
  find / -xdev \( -path /proc -o -path /dev -o -path /tmp -o -path /var/cache -o -path /var/log \
    -o -path /var/lib/apt -o -path /var/lib/dpkg \) -prune -o -print | LC_ALL=C sort
}
# show PATTERN FORMAT: the packages that dpkg knows
show() { dpkg-query --showformat "$2\n" --show "$1"; }

list_files >/tmp/before

quietly apt-get update
quietly apt-get install -y --no-install-recommends /packages/*_{amd64,all}.deb /packages/lib*_arm64.deb
show '*tarn-*' '${binary:Package} ${Version} ${db:Status-Status}'

echo "--- amd64"
debian/tests/consumers
echo "--- arm64"
# The programs come in one architecture at a time.
quietly apt-get install -y --no-install-recommends /packages/tarn-*_arm64.deb
CC=aarch64-linux-gnu-gcc CXX=aarch64-linux-gnu-g++ TOOLCHAIN=/source/cmake/aarch64.cmake \
  EMULATOR=qemu-aarch64 tests/consumers/use_installed.sh /usr lib/aarch64-linux-gnu
qemu-aarch64 /usr/bin/tarn-serve --version
qemu-aarch64 /usr/bin/tarn-send --version

echo "--- purged"
mapfile -t installed < <(show '*tarn-*' '${binary:Package}')
quietly apt-get purge -y --auto-remove "${installed[@]}"
list_files >/tmp/after
diff /tmp/before /tmp/after || fail "> is left behind, < was taken along"
! show '*tarn-*' '${binary:Package}' 2>/dev/null | grep . || fail "the above are still known"
echo "nothing is left behind"
