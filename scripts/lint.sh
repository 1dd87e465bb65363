#!/usr/bin/env bash
# Format, lint, types, include layers, documents.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ $# -eq 0 ] || { echo "usage: lint.sh" >&2; exit 2; }
need "${build_packages[@]}" "${grpc_packages[@]}" git clang-format clang-tidy clang doxygen \
  flake8 mypy python3-flatbuffers python3-pytest

git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format --dry-run --Werror
scripts/layers.sh

# Each source by itself: it includes what it needs.
cmake --preset clang -DTARN_TESTS=OFF -DCMAKE_UNITY_BUILD=OFF -B build/lint >/dev/null
cmake --build build/lint --target make_schema_headers tarn_python >/dev/null
git ls-files 'codec/*.cpp' 'msg/*.cpp' 'stubs/*.cpp' 'methods/*.cpp' 'shared/*.cpp' 'platform/*.cpp' 'record/*.cpp' 'reader/*.cpp' \
  'script/*.cpp' 'page/*.cpp' 'inspect/*.cpp' 'service/*.cpp' 'send/*.cpp' 'python/*.cpp' 'docs/*.cpp' 'examples/*.c' |
  xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p build/lint 2>/dev/null

# The Python package with its stubs, as it is installed, by Debian's tools.
/usr/bin/python3 -m flake8 --max-line-length 120 python tests/python tests/script_schema_test.py \
  examples/test_*.py bench/python_calls.py scripts/browser.py scripts/page_picture.py tests/service/watch_test.py
/usr/bin/python3 -m mypy --strict --cache-dir build/lint/mypy build/lint/python/tarn_mqc >&2

scripts/docs.sh --check
echo "format, lint, types, layers and documents are clean"
