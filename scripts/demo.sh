#!/usr/bin/env bash
# Builds the library and its stand-in platform, sends requests of every method, and shows what
# went out. Installs what is missing (as root).
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ $# -eq 0 ] || { echo "usage: demo.sh" >&2; exit 2; }
need "${build_packages[@]}" flatbuffers-compiler

quietly cmake --preset demo
quietly cmake --build --preset demo
captured=$(mktemp -d)
trap 'rm -rf "$captured"' EXIT
mkdir "$captured/first" "$captured/all"
title() { printf '\n=== %s\n\n' "$*"; }

title "One request, sent in three ways, and encoded by hand"
build/demo/examples/first_call "$captured/first"

title "The same request as captured on its way out"
scripts/inspect.sh --annotate "$captured"/first/0001-*
echo
scripts/inspect.sh "$captured"/first/0001-*.compact.bin

build/demo/examples/send_all "$captured/all" >"$captured/table"
title "The largest match rule, compact"
sent=("$captured"/all/*-match_all_oper.compact.bin)
scripts/inspect.sh --annotate "${sent[0]}"

title "One request of every method: bytes, and the status of each way to send it"
cat "$captured/table"
