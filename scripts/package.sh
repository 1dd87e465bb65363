#!/usr/bin/env bash
# Makes the Debian packages for amd64 and arm64 in build/packages and tests them: lintian reads them;
# in a fresh Debian root those of both architectures are installed side by side, used, and purged.
# The tests of the code are left to test.sh. Installs what is missing. Runs as root.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ $# -eq 0 ] || { echo "usage: package.sh" >&2; exit 2; }
[ "$(dpkg --print-architecture)" = amd64 ] || { echo "package.sh: runs on amd64" >&2; exit 2; }
[ "$(id -u)" -eq 0 ] || { echo "package.sh: runs as root, to make a root and enter it" >&2; exit 2; }
foreign arm64
need "${build_packages[@]}" "${grpc_packages[@]}" libgrpc++-dev:arm64 libssl-dev:arm64 libflatbuffers-dev:arm64 \
  libpcap-dev:arm64 libcpp-httplib-dev:arm64 g++-aarch64-linux-gnu build-essential debhelper dh-python dpkg-dev git lintian man-db debootstrap util-linux

out=$PWD/build/packages
root=$out/root
bare=$PWD/build/packages-root
export LC_ALL=C.UTF-8 DEB_BUILD_OPTIONS="noautodbgsym parallel=$(nproc)"
step() { printf '%4s s  %s\n' "$SECONDS" "$*"; }

# copy_source FOLDER: a build writes into the tree that it builds
copy_source() {
  mkdir -p "$1"
  git ls-files -z --cached --others --exclude-standard | tar -c --null -T - | tar -x -C "$1"
}

# within ROOT COMMAND...: processes and mounts end with the command
within() {
  # shellcheck disable=SC2016
  unshare --mount --pid --fork --kill-child bash -c '
    mount -t proc proc "$0/proc" && mount --bind /dev "$0/dev" && exec chroot "$0" "$@"' \
    "$1" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
    "${@:2}"
}

# keep_bare: Debian and what a build against the packages takes, kept for the next time
keep_bare() {
  local tools codename
  tools="$(sed -n '/^Depends:/,$s/^ \([^,]*\),$/\1/p' debian/tests/control | grep -v tarn | xargs) \
g++-aarch64-linux-gnu libc6:arm64 qemu-user"
  [ ! -e "$bare/tools" ] || [ "$(cat "$bare/tools")" != "$tools" ] || return 0
  rm -rf "$bare"
  codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
  quietly debootstrap --variant=minbase "$codename" "$bare"
  quietly within "$bare" dpkg --add-architecture arm64
  quietly within "$bare" apt-get update
  # shellcheck disable=SC2086
  quietly within "$bare" apt-get install -y --no-install-recommends $tools
  echo "$tools" >"$bare/tools"
}

rm -rf "$out"
keep_bare & # waits for the network while packages are built
bare_kept=$!
trap wait EXIT
copy_source "$out/source"
cd "$out/source"
step "packages for amd64, and the source package"
quietly dpkg-buildpackage -us -uc
step "packages for arm64"
quietly dpkg-buildpackage -us -uc --build=any --host-arch arm64
cd ../../..

step lintian
lintian --allow-root --fail-on error,warning --display-info --pedantic --info "$out"/*.changes

step "a root to install them in"
wait "$bare_kept"
cp -a "$bare" "$root"
copy_source "$root/source"
mkdir "$root/packages"
cp "$out"/*.deb "$root/packages"
step "installed, used, purged"
within "$root" /source/scripts/package_use.sh
rm -rf "$root" "$out/source"
step "all is well; the packages:"
ls "$out"/*.deb
