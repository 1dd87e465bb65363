#!/usr/bin/env bash
# Programs that know nothing of captures, recordings and scripts, with each from the environment, even over
# resets. A set-user-id program takes nothing from there.
# usage: loopback_environment_test.sh SOURCE_DIR SEND_ALL CALLER_TEST HAS_SCRIPTS [EMULATOR ...]
#        HAS_SCRIPTS: 0 or 1
set -eu
source=$1 send_all=$2 caller_test=$3 has_scripts=$4
emulator=("${@:5}")
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

# run SCRIPT COMMAND...: with the script; what it says on stderr goes to said
run() { TARN_LOOPBACK_SCRIPT=$1 "${emulator[@]}" "${@:2}" >shown 2>said; }
# says PATTERN: the only line on stderr
says() { [ "$(wc -l <said)" -eq 1 ] && grep -q "^tarn_loopback: $1" said || fail "not '$1' but: $(cat said)"; }

! run absent.json "$send_all" || fail "calls succeed without the rules that they should follow"
grep -q '^sendRuleMac .* 8  *8  *8$' shown || fail "other statuses than 8: $(cat shown)"
says "$PWD/absent.json: "
if [ "$has_scripts" -eq 1 ]; then
  echo '{"rules": [{"method": "sendRuleMac", "match": {"f3": 37}, "expect": 3,
    "answers": [{"status": 41}, {"status": 42}, {"status": 0}]}]}' >rules.json
  ! run rules.json "$send_all" || fail "a refused call succeeds"
  [ "$(grep -E '^sendRuleMac ' shown | awk '{print $5, $6, $7}')" = '41 0 0' ] || fail "$(grep sendRuleMac shown)"
  grep -q ' 1 failed, ' shown || fail "other calls fail: $(cat shown)"
  [ ! -s said ] || fail "what was expected came, and yet: $(cat said)"

  # The test resets, which takes the counts back; its own calls are others.
  run rules.json "$caller_test" || fail "with a script for other methods the test fails"
  says 'sendRuleMac (line 1) .* expected 3, came 0: DIFFERS$'
  echo '{"rules": [{"expect": {"at_most": 1}}]}' >once.json
  run once.json "$caller_test" || fail "a rule without answers answers"
  [ ! -s said ] || fail "a reset takes no counts back: $(cat said)"
  echo '{"rules": [{}, {"status": 1}]}' >bad.json
  ! run bad.json "$caller_test" || fail "a bad script does not show"
  grep -q "^tarn_loopback: $PWD/bad.json: line 1: rules\[1\]" said || fail "not reported: $(cat said)"
fi

if [ ${#emulator[@]} -eq 0 ] && [ "$(id -u)" -eq 0 ] && [ "$(findmnt -no OPTIONS -T . | grep -cw nosuid)" -eq 0 ]; then
  mkdir secure
  chmod 755 . && cp "$send_all" secure/program && chmod u+s secure/program
  setpriv --reuid 65534 --regid 65534 --clear-groups env TARN_LOOPBACK_CAPTURE="$work/secure" \
    TARN_LOOPBACK_RECORD="$work/secure/calls" TARN_LOOPBACK_SCRIPT="$work/absent.json" \
    secure/program >/dev/null || fail "calls fail"
  [ "$(ls secure)" = program ] || fail "a set-user-id program writes what the environment names: $(ls secure)"
fi
echo "the environment has captures and recordings made, and calls answered"
