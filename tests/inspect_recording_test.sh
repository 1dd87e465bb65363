#!/usr/bin/env bash
# What tarn-inspect shows of recordings: every method; what Wireshark's programs made of one; what is damaged,
# missing or of somebody else; two that differ.
# usage: inspect_recording_test.sh SOURCE_DIR SEND_ALL TARN_INSPECT RECORD
set -eu
source=$1 send_all=$2 inspect=$3 record=$4
. "$source/tests/service/common.sh"
export LC_ALL=C
mkdir all
LD_PRELOAD=$record TARN_RECORD=calls "$send_all" all >/dev/null
"$python" "$source/tests/inspect_recording_test.py" "$inspect" calls all/*.compact.bin || fail "calls are shown otherwise"

"$inspect" calls >list
[ "$(wc -l <list)" -eq $((3 * methods)) ] || fail "$(wc -l <list) calls are listed"
grep -qE '^ +16  20..-..-..T..:..:..\.......Z  sendRuleMac +sync +89 +[0-9]+\.[0-9]{3}  0 success$' list ||
  fail "a call's line is another: $(sed -n 16p list)"
"$inspect" --annotate --method sendRuleMac calls | grep -c '^call .*, sendRuleMac: MQC_RuleMac, compact, 89 bytes$' |
  grep -qx 3 || fail "requests are not annotated"

# The same in other forms: pcapng, a pipe, in two files, joined again.
editcap -F pcapng calls calls.pcapng
editcap -F nsecpcap -r calls first 1-100
editcap -F nsecpcap calls second 1-100
mergecap -F nsecpcap -w joined second first
"$inspect" calls.pcapng | diff list - && "$inspect" second first | diff list - && "$inspect" joined | diff list - &&
  "$inspect" <(cat calls) | diff list - && cat calls | "$inspect" - | diff list - || fail "another form has other calls"

# says STATUS WORDS ARGUMENT...: shows what it can, and says that in one line
says() {
  local expected=$1 words=$2 status=0
  shift 2
  timeout 60 "$inspect" "$@" >shown 2>said || status=$?
  [ "$status" -eq "$expected" ] && [ "$(wc -l <said)" -eq 1 ] && grep -q "^tarn-inspect: .*$words" said ||
    fail "$*: status $status, $(cat said)"
}
head -c 5000 calls >cut
says 1 'cut: damaged at byte 4[0-9]*, behind [0-9]* packets: truncated' cut
requests() { awk '{print $1, $2, $3, $4, $5}' "$1"; }  # their ends may be behind the damage
[ -s shown ] && diff <(requests shown) <(requests list | head -n "$(wc -l <shown)") ||
  fail "what is before the damage is not shown"
sed 's/sendRuleMac/sendRuleMad/' calls >unknown
says 1 'call 16: no method is called sendRuleMad' --json unknown --until "$("$inspect" --json calls | sed -n '17s/.*"time": "\([^"]*\)".*/\1/p')"
[ "$(grep -c '"request": null' shown)" -eq 1 ] && [ "$(wc -l <shown)" -eq 16 ] || fail "an unknown method: $(cat shown)"
sed 's/sync 16 send/sink 16 send/' calls >foreign
says 0 'foreign: packet [0-9]* is of no recording, and left out' foreign
[ "$(wc -l <shown)" -eq $((3 * methods - 1)) ] || fail "what is beside a foreign packet is not shown"
sed 's/begin 1/begin 2/' calls >later
says 1 'a recording of version 2' later
says 1 'no such.*, in the list\|no recording' calls all/0001-*.compact.bin
editcap -F nsecpcap -s 150 calls short
"$inspect" --json --method sendRuleMac short | grep -q '"bytes": 89, .*"request": null' || fail "a packet that was cut"

mapfile -t many < <(yes calls | head -n 40)
(ulimit -n 40 && exec "$inspect" "${many[@]}" >shown 2>said) || true
[ -s said ] && ! grep -v 'calls: Too many open files$' said || fail "too many files: $(sort -u said)"

# Calls that failed, and one without an end.
sed 's/end 16 sendRuleMac \([a-z0-9 ]*\)status 0/end 16 sendRuleMac \1status 5/' calls >failed
editcap -F nsecpcap calls endless 3
[ "$("$inspect" --failed failed)" = "$(sed -n '16s/0 success/5 the capture directory cannot be written/p' list)" ] &&
  [ "$("$inspect" --status 5 failed | wc -l)" -eq 1 ] && [ "$("$inspect" --status 0 failed | wc -l)" -eq $((3 * methods - 1)) ] ||
  fail "--failed, --status: $("$inspect" --failed failed)"
"$inspect" --status none endless | grep -qE '^ +1 .* -  no end$' && [ "$("$inspect" --status none endless | wc -l)" -eq 1 ] ||
  fail "a call without an end"
editcap -F nsecpcap calls headless 2
"$inspect" --stats headless | grep -qx 'ends without a request: 1' || fail "an end without a request"

# differ A B LINE...: what is different
differ() {
  local status=0
  "$inspect" --diff "$1" "$2" >shown || status=$?
  [ "$status" -eq 1 ] && sed 's/, 20.*Z$//' shown | diff - <(printf '%s\n' "${@:3}") || fail "--diff $1 $2"
}
all=$((3 * methods))
"$inspect" --diff calls joined | grep -qx "equal $all, changed 0, dropped 0, added 0" || fail "equal recordings differ"
"$python" -c '
import re, sys
old = rb"(sync 16 sendRuleMac.*?\x19\x1A)\x1B\x1C\x1D\x1E"
sys.stdout.buffer.write(re.sub(old, lambda m: m[1] + b"\0\x1C\x1D\x1F", open("calls", "rb").read(), flags=re.S))' >changed
differ calls changed 'sendRuleMac: call 16, then call 16' '  f1[2]: 27, then 0' '  f1[5]: 30, then 31' \
  "equal $((all - 1)), changed 1, dropped 0, added 0"
differ calls failed 'sendRuleMac: call 16, then call 16' \
  '  status: 0 success, then 5 the capture directory cannot be written' "equal $((all - 1)), changed 1, dropped 0, added 0"
editcap -F nsecpcap changed dropped 2 3
method=$(awk '$1 == 1 {print $3}' list)
! "$inspect" --diff dropped calls >shown
grep -qE "^\+ $method: call 1, " shown && grep -qx "equal $((all - 2)), changed 1, dropped 0, added 1" shown || fail "$(cat shown)"

editcap -F nsecpcap -r calls one 2-3
"$inspect" --diff --where 'head.f0 > 0' one calls | grep -qx 'equal 0, changed 0, dropped 0, added [1-9][0-9]*' ||
  fail "a condition that one recording's methods lack: $("$inspect" --diff --where 'head.f0 > 0' one calls)"

refuses() { refused "$1" "$2" "$inspect" "${@:3}"; }
printf '000000 01 02\n' | text2pcap -q - ethernet 2>/dev/null
refuses 1 'ethernet: packets of link type 1, those of a recording are of 252' ethernet
refuses 2 'sendRuleMac: f33: no such field; the nearest is f3' --method sendRuleMac --where 'f33 == 1' calls
refuses 2 'no method of the recording has that number' --diff --where 'g9 == 1' calls joined
refuses 2 'f1: it is no number' --method sendRuleMac --where 'f1 == 1' calls
for condition in 'f3' 'f3 = 1' '== 1' 'f3 == -1' 'f3 == 4294967296' 'f3 == 1x'; do
  refuses 2 'not FIELD' --where "$condition" calls
done
for time in 25:00 2026-02-30 yesterday 2026-11-26T05:29.5 05:29:43.; do refuses 2 'no time' --since "$time" calls; done
refuses 2 'neither a status' --status -1 calls
refuses 2 'compares two' --diff calls
refuses 2 'no recording' --stats all/0016-sendRuleMac.compact.bin
refuses 2 'no such method' --method sendNothing calls
echo "recordings are shown, searched and compared"
