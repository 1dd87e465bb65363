#!/usr/bin/env bash
# Format, lint, include layers, documents.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ $# -eq 0 ] || { echo "usage: lint.sh" >&2; exit 2; }
need "${build_packages[@]}" "${grpc_packages[@]}" git clang-format clang-tidy clang doxygen

git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format --dry-run --Werror
scripts/layers.sh

# Each source by itself: it includes what it needs.
cmake --preset clang -DTARN_TESTS=OFF -DCMAKE_UNITY_BUILD=OFF -B build/lint >/dev/null
cmake --build build/lint --target make_schema_headers >/dev/null
git ls-files 'codec/*.cpp' 'msg/*.cpp' 'stubs/*.cpp' 'methods/*.cpp' 'shared/*.cpp' 'platform/*.cpp' 'record/*.cpp' 'reader/*.cpp' \
  'inspect/*.cpp' 'service/*.cpp' 'docs/*.cpp' 'examples/*.c' |
  xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p build/lint 2>/dev/null

scripts/docs.sh --check
echo "format, lint, layers and documents are clean"
