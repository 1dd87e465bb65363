#!/usr/bin/env bash
# Programs that know nothing of captures and recordings, with both from the environment, even over resets. A
# set-user-id program takes nothing from there.
# usage: loopback_environment_test.sh SOURCE_DIR SEND_ALL CALLER_TEST [EMULATOR ...]
set -eu
source=$1 send_all=$2 caller_test=$3
emulator=("${@:4}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
fail() { echo "loopback_environment_test.sh: $*" >&2; exit 1; }
# ends FILE: the calls whose ends it has
ends() { grep -aoE 'end [0-9]+ [A-Za-z_0-9]+ process [0-9]+ thread [0-9]+ status 0' "$1" | wc -l; }
methods=$(grep -c '^[^#]' "$source/tests/methods.txt")

mkdir kept expected
TARN_LOOPBACK_CAPTURE=kept TARN_LOOPBACK_RECORD=calls "${emulator[@]}" "$send_all" >/dev/null
"${emulator[@]}" "$send_all" expected >/dev/null
diff -r expected kept || fail "other captures than those of the program itself"
[ "$(ends calls)" -eq $((3 * methods)) ] && [ "$(stat -c %a calls)" = 600 ] || fail "$(ends calls) calls, $(ls -l calls)"

rm -rf kept/*
TARN_LOOPBACK_CAPTURE=kept TARN_LOOPBACK_RECORD=calls "${emulator[@]}" "$caller_test" >/dev/null
[ "$(ends calls)" -eq 1 ] && [ "$(find kept -name '*.compact.bin' | wc -l)" -eq 2 ] || fail "a reset ends them"
[ "$(ends calls-1)" -eq $((3 * methods)) ] || fail "the former recording is lost"

TARN_LOOPBACK_CAPTURE=absent TARN_LOOPBACK_RECORD=absent/calls "${emulator[@]}" "$send_all" >shown 2>said &&
  fail "calls that cannot be captured succeed"
grep -q '^tarn_loopback: recording .*/absent/calls: No such file or directory$' said || fail "not reported: $(cat said)"
TARN_LOOPBACK_CAPTURE='' TARN_LOOPBACK_RECORD='' "${emulator[@]}" "$send_all" >/dev/null || fail "empty variables are names"

if [ ${#emulator[@]} -eq 0 ] && [ "$(id -u)" -eq 0 ] && [ "$(findmnt -no OPTIONS -T . | grep -cw nosuid)" -eq 0 ]; then
  mkdir secure
  chmod 755 . && cp "$send_all" secure/program && chmod u+s secure/program
  setpriv --reuid 65534 --regid 65534 --clear-groups env TARN_LOOPBACK_CAPTURE="$work/secure" \
    TARN_LOOPBACK_RECORD="$work/secure/calls" secure/program >/dev/null || fail "calls fail"
  [ "$(ls secure)" = program ] || fail "a set-user-id program writes what the environment names: $(ls secure)"
fi
echo "the environment has captures and recordings made"
