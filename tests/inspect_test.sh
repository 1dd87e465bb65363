#!/usr/bin/env bash
# What inspect.sh shows, and what it refuses, on captures of every method.
# usage: inspect_test.sh SOURCE_DIR SEND_ALL
set -eu
source=$1 send_all=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir all
"$send_all" all >/dev/null
inspect=$source/scripts/inspect.sh
fail() { echo "inspect: $*" >&2; exit 1; }

# The example sends each request three times: the first is enough.
first=()
for number in $(seq 1 3 163); do first+=(all/$(printf %04d "$number")-*.bin); done
[ ${#first[@]} -eq 109 ] || fail "${#first[@]} messages captured, not two of 54 methods and one"
"$inspect" "${first[@]}" >json || fail "a captured message is refused"
[ "$(grep -c '^{' json)" -eq 109 ] || fail "not one JSON text for each message"
"$inspect" --annotate "${first[@]}" >annotated || fail "a captured message is not annotated"
[ "$(grep -c '^header:' annotated)" -eq 109 ] || fail "an annotation is missing"

"$inspect" all/0016-sendRuleMac.compact.bin >compact
"$inspect" all/0016-sendRuleMac.full.bin >full
diff compact full || fail "the two encodings of one request differ"
grep -q '"f1": \[ 25, 26, 27, 28, 29, 30 \]' compact || fail "JSON lacks the MAC address"
"$inspect" --annotate all/0016-sendRuleMac.compact.bin | grep -q '+0x04 | 0C 00 .*size of this vtable' ||
  fail "the annotation lacks the vtable"

# refused FILE WORDS: one line with the words, a failing status, nothing shown
refused() {
  local status=0
  "$inspect" "$1" >shown 2>said || status=$?
  [ "$status" -ne 0 ] || fail "$1 is accepted"
  [ "$(wc -l <said)" -eq 1 ] && grep -q "$2" said || fail "$1: $(cat said)"
  [ ! -s shown ] || fail "$1 is refused and shown"
}
mkdir bad
for size in 0 3 11 20 60; do
  head -c $size all/0016-sendRuleMac.compact.bin >bad/0001-sendRuleMac.compact.bin
  refused bad/0001-sendRuleMac.compact.bin damaged
done
head -c 90 /dev/zero | tr '\0' '\377' >bad/0002-sendRuleMac.full.bin
refused bad/0002-sendRuleMac.full.bin damaged
cp all/0016-sendRuleMac.full.bin bad/0003-sendNothing.full.bin
refused bad/0003-sendNothing.full.bin 'no method'
cp all/0016-sendRuleMac.full.bin bad/message
refused bad/message 'its name'
refused bad/absent 'cannot be read'
# Whatever was damaged, the answer is a message that is shown or one line that refuses it.
RANDOM=20261
for file in all/0016-sendRuleMac.compact.bin all/0097-act_redirect_nhp.full.bin; do
  size=$(stat -c %s "$file")
  for round in $(seq 20); do
    damaged=bad/${file##*/}
    head -c $((round % 4 == 0 ? RANDOM % size : size)) "$file" >"$damaged"
    printf "\\x$(printf %02x $((RANDOM % 256)))" |
      dd of="$damaged" bs=1 seek=$((RANDOM % (round % 2 == 0 ? 64 : size))) conv=notrunc 2>/dev/null
    if "$inspect" "$damaged" >shown 2>said; then
      [ -s shown ] && [ ! -s said ] || fail "$damaged, round $round: shown with a complaint"
    else
      [ "$(wc -l <said)" -eq 1 ] && [ ! -s shown ] || fail "$damaged, round $round: $(cat said)"
    fi
  done
done

mkdir ./-odd
cp all/0016-sendRuleMac.full.bin ./-odd/0001-sendRuleMac.full.bin
"$inspect" --json -- -odd/0001-sendRuleMac.full.bin | diff - full || fail "a path that begins with a dash"
status=0
"$inspect" 2>said || status=$?
[ "$status" -eq 2 ] && grep -q usage said || fail "no files: no usage"
echo "captures are shown, damaged ones refused"
