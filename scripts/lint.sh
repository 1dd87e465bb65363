#!/usr/bin/env bash
# Format, lint, include layers, reference documentation.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need "${build_packages[@]}" clang-format clang-tidy clang doxygen

git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format --dry-run --Werror
scripts/layers.sh

cmake --preset clang -DBUILD_TESTING=OFF -B build/lint >/dev/null
git ls-files 'codec/*.cpp' 'msg/*.cpp' 'stubs/*.cpp' 'platform/*.cpp' 'examples/*.c' |
  xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/lint 2>/dev/null

mkdir -p build/reference
doxygen docs/Doxyfile
echo "format, lint, layers and reference are clean"
