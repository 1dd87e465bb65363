#!/usr/bin/env bash
# Prints the share of test code, and fails when it is more than a third: code lines of C and C++, blank
# lines and line comments aside, and for comparison those of scripts and Python with them.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need git >&2

lines() { git ls-files -z -- "$@" | xargs -0 -r cat | grep -cvE '^[[:space:]]*((//|#[^a-z]).*)?$'; }

# share WHAT PATTERN...: of the files whose names end so
share() {
  local what=$1
  shift
  tests=$(lines "${@/#/tests/}" "${@/#/fuzz/}")
  all=$(lines "$@")
  echo "test code: $tests of $all lines of $what, $((1000 * tests / all)) in 1000"
}
share "C, C++, shell, Python, awk" '*.c' '*.cpp' '*.h' '*.sh' '*.py' '*.awk'
share "C and C++" '*.c' '*.cpp' '*.h'
[ $((100 * tests)) -le $((33 * all)) ] || { echo "share.sh: more than 33 in 100" >&2; exit 1; }
