#!/usr/bin/env bash
# Programs that know nothing of the recorder, recorded: whatever platform is loaded in whatever way, over a
# fork, until they are killed. What Wireshark's programs make of the recordings. Nothing is recorded of who must
# not be.
# usage: record_test.sh SOURCE_DIR RECORD SEND_ALL CALLER LINKED OPENER CALLS LOOPBACK DEVICE [EMULATOR ...]
set -eu
source=$1 record=$2 send_all=$3 caller=$4 linked=$5 opener=$6 calls=$7 loopback=$8 device=$9
emulator=("${@:10}")
methods=$(grep -c '^[^#]' "$source/tests/methods.txt")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
fail() { echo "record_test.sh: $*" >&2; exit 1; }

# recorded FILE PROGRAM ARGUMENT...
recorded() {
  local variables=("LD_PRELOAD=$record" "TARN_RECORD=$1" "TARN_RECORD_MB=${megabytes-1024}")
  if [ ${#emulator[@]} -gt 0 ]; then
    exec "${emulator[@]}" -E "${variables[0]}" -E "${variables[1]}" -E "${variables[2]}" "${@:2}"
  else
    exec env "${variables[@]}" "${@:2}"
  fi
}
shark() { tshark -X "lua_script:$source/service/mqc_fes_intf.lua" "$@" 2>>shark.err; }
# texts FILE: the lines of text of its packets
texts() { shark -r "$1" -T fields -e exported_pdu.col_proto_str; }
# holds FILE WORDS COUNT: as many packets whose text has the words
holds() { [ "$(texts "$1" | grep -c "$2")" -eq "$3" ] || fail "$1: not $3 packets with '$2': $(texts "$1")"; }
packets() { capinfos -Mc "$1" | sed -n 's/^Number of packets: *//p'; }

(recorded all "$send_all") >/dev/null
[ "$(packets all)" -eq $((1 + 6 * methods)) ] || fail "$(packets all) packets of $methods methods"
for variant in sync async oneway; do holds all "^$variant " "$methods"; done
awk '/^[^#]/ {for (i = 0; i < 3; ++i) {print $1 " request"; print $1 " response"}}' "$source/tests/methods.txt" |
  sort >expected
shark -r all -O mqc >shown
sed -nE 's/^([A-Za-z0-9_]+ (request|response)): .*/\1/p' shown | sort | diff expected - ||
  fail "not every request and every end is shown"
! grep damaged shown || fail "messages are shown as damaged"
[ "$(shark -r all -Y 'mqc.MQC_RuleMac.f3 == 37' | wc -l)" -eq 3 ] || fail "fields are not found"

awk '/^```python$/ {on = 1; next} /^```$/ {on = 0} on' "$source/docs/recording.md" >read.py
"${PYTHON:-python3}" read.py all >printed
[ "$(grep -cE '^(sync|async|oneway) [A-Za-z0-9_]+ [1-9][0-9]* bytes, status 0 [0-9.]+$' printed)" -eq $((3 * methods)) ] &&
  [ "$(wc -l <printed)" -eq $((3 * methods)) ] || fail "the program of docs/recording.md reads: $(head printed)"

(recorded one "$caller" one)
[ "$(shark -r one -T fields -e mqc.MqcReply.status | xargs)" = 9 ] || fail "the status is not shown"
editcap -F nsecpcap -r all some 5-14
mergecap -F nsecpcap -w joined some one
[ "$(packets joined)" -eq 13 ] || fail "$(packets joined) packets are joined, not 13"
[ "$(texts joined | sort)" = "$( (texts some; texts one) | sort)" ] || fail "texts are lost on the way"

(recorded opened "$opener" local one "$calls") || fail "calls fail"
holds opened '^end 1 sendRuleMac' 1
for visibility in global local; do
  (recorded opened "$opener" $visibility one "$loopback" "$calls") || fail "calls fail"
  (recorded "opened_$visibility" "$opener" $visibility one "$device" "$calls") || true # its status is another
  holds opened '^end [12] sendRuleMac.*status 9' 2
  holds "opened_$visibility" '^end [12] sendRuleMac.*status 0' 2
done
(recorded alone "$opener" local alone "$record") 2>said || fail "calls without a platform do not return 22"
[ "$(cat said)" = "tarn_record: no platform behind this library has RPC_IdlMsgOnewayCall" ] ||
  fail "no platform: $(cat said)"

(recorded parent "$opener" local fork "$calls")
holds parent '^end' 2
child=$(basename parent.*)
holds "$child" "^sync [0-9]* sendRuleMac process ${child#*.} thread ${child#*.} " 1

for round in 1 2 3; do
  rm -f storm*
  { counted=$(recorded storm "$caller" storm) || true; } 2>/dev/null
  # The kernel may end a write where it takes another page.
  capinfos -Mc storm >/dev/null 2>cut_short || [ $(($(stat -c %s storm) % 4096)) -eq 0 ] || fail "round $round: $(cat cut_short)"
  ends=$(texts storm | grep -c '^end') calls_begun=$(texts storm | grep -c '^sync')
  [ "$ends" -ge "$counted" ] && [ "$ends" -ge 1000 ] && [ $((calls_begun - ends)) -le 2 ] ||
    fail "round $round: $counted calls returned, $calls_begun and $ends ends are recorded"
done

(megabytes=1048576 recorded large "$caller" one)
{ (megabytes=1 recorded small "$caller" storm) || true; } >storms 2>&1
[ -s large ] && [ "$(stat -c %s small-1)" -gt 250000 ] && [ "$(stat -c %s small-1)" -le 262144 ] ||
  fail "sizes are not kept to: $(ls -l large small*)"

# Nothing is written without a name, with a size that is none, and by whom a set-user-id program could harm.
mkdir none secure
cd none
(recorded '' "$caller" one) 2>said
[ ! -s said ] || fail "no name: $(cat said)"
long=$(printf 'x%.0s' {1..4096})
(recorded "$long" "$caller" one) 2>said
[[ $(cat said) == "tarn_record: nothing is recorded: File name too long: xxx"* ]] || fail "a long name: $(head -c 100 said)"
(megabytes=0 recorded calls "$caller" one) 2>said
[ "$(cat said)" = "tarn_record: TARN_RECORD_MB is '0', not a number from 1 to 1048576; nothing is recorded" ] ||
  fail "a wrong size: $(cat said)"
rm said
# Nobody reads stderr any more: the line ends no process.
{ sleep 1; (megabytes=0 recorded calls "$caller" one); echo $? >../status; } 2>&1 | true
[ "$(cat ../status)" = 0 ] || fail "a line that nobody reads fails a process"
[ -z "$(ls)" ] || fail "something is recorded: $(ls)"
cd ../secure
chmod 755 ..
cp "$linked" .
if [ ${#emulator[@]} -eq 0 ] && [ "$(id -u)" -eq 0 ]; then
  chown 65534 .
  nobody=(setpriv --reuid 65534 --regid 65534 --clear-groups env TARN_RECORD=calls)
  "${nobody[@]}" "./${linked##*/}" one || fail "calls fail"
  holds calls '^end 1 sendRuleMac' 1
  rm calls
  chmod u+s "${linked##*/}"
  status=0
  "${nobody[@]}" "./${linked##*/}" secure || status=$?
  # 77: this machine's set-user-id programs are like others.
  [ $status -eq 77 ] || { [ $status -eq 0 ] && [ ! -e calls ]; } || fail "a set-user-id program records"
fi
echo "calls are recorded, and shown"
