#!/usr/bin/env bash
# Format, lint, include layers, reference documentation.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ $# -eq 0 ] || { echo "usage: lint.sh" >&2; exit 2; }
need "${build_packages[@]}" "${grpc_packages[@]}" clang-format clang-tidy clang doxygen

git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format --dry-run --Werror
scripts/layers.sh

cmake --preset clang -DBUILD_TESTING=OFF -B build/lint >/dev/null
git ls-files 'codec/*.cpp' 'msg/*.cpp' 'stubs/*.cpp' 'platform/*.cpp' 'examples/*.c' |
  xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/lint 2>/dev/null

# Members named after their slot and the exports, whose contract stands at MQC_DECLARE_METHOD, have
# no text of their own.
mkdir -p build/reference
doxygen docs/Doxyfile 2>build/reference/warnings
if grep -vE 'Member (f[0-9]+(\[[0-9]+\])?|head|MqcFesIntf_[A-Za-z0-9_]+\(.*\)) \((variable|function)\) of' build/reference/warnings; then
  echo "lint.sh: the reference lacks the above" >&2
  exit 1
fi
echo "format, lint, layers and reference are clean"
