# Sourced by the other scripts: Debian packages on demand.

# need PACKAGE...: installs what is missing as root; else one line that names it, and failure.
need() {
  local missing=()
  local package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "missing packages, install them as root: ${missing[*]}" >&2
    return 1
  fi
  echo "installing ${missing[*]}"
  apt-get update -qq &&
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
      "${missing[@]}" >/dev/null
}

# foreign ARCHITECTURE: apt knows its packages; as root where it does not yet
foreign() {
  dpkg --print-foreign-architectures | grep -qx "$1" && return
  if [ "$(id -u)" -ne 0 ]; then
    echo "missing architecture, as root: dpkg --add-architecture $1" >&2
    return 1
  fi
  dpkg --add-architecture "$1"
}

# quietly COMMAND...: its output only if it fails
quietly() {
  local log
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

build_packages=(cmake ninja-build gcc g++ libc6-dev)
# Of the delivery over gRPC and the programs; a build without them leaves them out. libprotobuf-dev has a
# header that generated services include.
grpc_packages=(libgrpc++-dev libssl-dev libflatbuffers-dev flatbuffers-compiler libpcap-dev libprotobuf-dev
  nlohmann-json3-dev libcpp-httplib-dev)
test_packages=("${grpc_packages[@]}" binutils libgtest-dev python3-flatbuffers python3-grpcio python3-jsonschema
  python3-pytest openssl tshark valgrind pkg-config chromium)
