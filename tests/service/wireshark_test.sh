#!/usr/bin/env bash
# That tshark finds messages in calls on the loopback. Skipped, status 77, where this machine cannot capture.
# usage: wireshark_test.sh SOURCE_DIR TARN_SERVE SEND_ALL
set -eu
source=$1 tarn_serve=$2 send_all=$3
. "$source/tests/service/common.sh"
skip() { echo "SKIPPED, nothing was tested: $*"; exit 77; }
serve out --listen 127.0.0.1:0 --status 9
port=${address##*:}
start captured tshark -l -i lo -f "tcp port $port" -w calls.pcapng -P -a duration:60
for _ in $(seq 100); do
  ! grep -q 'Capture started' captured.err || break
  kill -0 "$service" 2>/dev/null || skip "no right to capture: $(grep -m1 -i permission captured.err)"
  sleep 0.1
done
capture_all
mkdir bad
head -c 60 all/0016-sendRuleMac.compact.bin >bad/0001-sendRuleMac.compact.bin
head -c 90 /dev/zero | tr '\0' '\377' >bad/0002-act_redirect_nhp.full.bin
call_all "$address" >/dev/null
"${peer[@]}" send "$address" bad/* >/dev/null
call_all "$address" --stream --async >/dev/null
shark() {
  tshark -r calls.pcapng -d "tcp.port==$port,http2" -X "lua_script:$source/service/mqc_fes_intf.lua" \
    "$@" 2>>shark.err
}
# shown FIELD: its values in all messages, a line each
shown() { shark -T fields -e "$1" | tr , '\n' | sed '/^$/d'; }
answers() {
  [ "$(shown mqc.MqcReply.status | wc -l)" -ge "$messages" ] &&
    [ "$(shown mqc.MqcAnswer.status | wc -l)" -ge "$messages" ]
}
await "a capture of all answers" answers
end INT

[ "$(shown mqc.MqcAnswer.status | sort | uniq -c | xargs)" = "$messages 9" ] ||
  fail "not all answers of the stream are shown"
shown mqc.MqcCall.method |
  diff <(printf '%s\n' "${first[@]}" | sed 's/.*-//; s/\..*//') - || fail "not all calls of the stream are shown"

shark -O mqc | awk '/^[A-Za-z_0-9]+ request: / {on = 1} /^[^ ]/ && !/ request: / {on = 0} on' >requests
for file in "${first[@]}"; do
  name=${file##*/} name=${name#*-}
  echo "${name%%.*} request, $(stat -c %s "$file") bytes"
done >expected
sed -nE 's/^([A-Za-z0-9_]+) request: [A-Za-z0-9_]+,/\1 request,/p' requests | head -n "$messages" |
  diff expected - || fail "not every request is shown"
[ "$(grep -c '\[damaged message: ' requests)" -eq 2 ] || fail "damaged messages: not two"

echo "requests and replies are shown"
