#!/usr/bin/env bash
# Makes the catalogue and the pictures in docs/, then guides and reference as one site in
# build/reference/html, and follows every link of both. Installs what is missing (as root).
# usage: docs.sh [--check]     --check: fails when catalogue or pictures are not as made
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
[ "$*" = "" ] || [ "$*" = --check ] || { echo "usage: docs.sh [--check]" >&2; exit 2; }
need "${build_packages[@]}" libflatbuffers-dev libpcap-dev python3 doxygen graphviz fonts-dejavu-core

quietly cmake --preset demo
quietly cmake --build --preset demo --target catalogue tarn_inspect
made=build/docs
rm -rf "$made"
mkdir -p "$made/pictures" build/reference
build/demo/docs/catalogue schema >"$made/catalogue.md"
scripts/pictures.py build/demo/bin/tarn-inspect "$made/pictures"
dot -Tsvg docs/pictures/house.dot -o "$made/pictures/house.svg"
for file in catalogue.md pictures/{call,compact,full,house}.svg; do
  [ "$*" = --check ] || cp "$made/$file" "docs/$file"
  diff -u "docs/$file" "$made/$file" ||
    { echo "docs.sh: docs/$file is out of date: scripts/docs.sh" >&2; exit 1; }
done

# Members named after their slot and the exports, whose contract stands at MQC_DECLARE_METHOD, have
# no text of their own.
rm -rf build/reference/html
doxygen docs/Doxyfile 2>build/reference/warnings
if grep -vE 'Member (f[0-9]+(\[[0-9]+\])?|head|MqcFesIntf_[A-Za-z0-9_]+\(.*\)) \((variable|function)\) of' build/reference/warnings; then
  echo "docs.sh: the site lacks the above" >&2
  exit 1
fi
# Parts of a table that doxygen does not understand remain in the page as commands.
if grep -rlF '\ilinebr' build/reference/html --include='*.html'; then
  echo "docs.sh: a table in the above is broken" >&2
  exit 1
fi
scripts/links.py ./*.md docs/*.md build/reference/html
echo "the site: build/reference/html/index.html"
