#!/usr/bin/env bash
# tarn-serve with a script, and late answers: what callers get, by themselves and over a stream, what is listed,
# recorded and reported.
# usage: script_test.sh SOURCE_DIR TARN_SERVE SEND_ALL
set -eu
source=$1 tarn_serve=$2 send_all=$3
. "$source/tests/service/common.sh"
mkdir all
"$send_all" all >/dev/null
# play SCENARIO: of script_test.py, with the service that was started last
play() { "$python" "$source/tests/service/script_test.py" "$1" "$address" out "$service" all; }
# await_end: of the last service that was started; its status in $status
await_end() {
  status=0
  wait "$service" || status=$?
  unset 'services[-1]'
}
# expect STATUS WHEN: the status of the service that ended, which says nothing on stderr
expect() { [ "$status" -eq "$1" ] && [ ! -s out.err ] || fail "$2: status $status, $(cat out.err)"; }
# statuses FILE: those of the calls in a recording
statuses() { "$programs/tarn-inspect" --json "$1" 2>said_of_calls | sed 's/.*"status": \([^,]*\),.*/\1/' | paste -sd' '; }

cat >rules <<'END'
{"rules": [
  {"method": "sendRuleMac", "match": {"f3": 37}, "expect": 6, "answers": [
    {"status": 0}, {"grpc": "UNAVAILABLE"}, {"status": 5, "delay_ms": 20}, {"garbage": true},
    {"status": 4294967295}]},
  {"method": "qos_group_port", "answers": [{"status": 6, "delay_ms": 3600000}]},
  {"method": "act_redirect_nhp", "answers": [{"delay_ms": 150}]},
  {"method": "match_any_oper", "answers": [{"drop": true}]},
  {"method": "match_all_oper", "answers": [{"grpc": "DATA_LOSS"}]},
  {"method": "sendClassifierTemplate", "expect": {"at_most": 1}}
]}
END

# Answers in turn, before those of --status and --delay; a damaged request is no rule's.
head -c 20 all/*-sendClassifierTemplate.compact.bin >0001-sendClassifierTemplate.compact.bin
for _ in 1 2 3 4 5 6; do echo '{"method": "sendRuleMac", "request": {"f3": 37}}'; done >turns
printf '{"method": "%s"}\n' sendRuleMac sendClassifierTemplate >>turns
for options in "" --stream; do
  serve out --listen "unix:$work/socket" --script rules --status 8 --delay 5 --delay sendClassifierTemplate=10 \
    --record "calls$options"
  # shellcheck disable=SC2086
  call "$address" $options --keep-going --file turns | sed 's/.* //' | paste -sd' ' |
    diff - <(echo 0 1014 5 71 4294967295 4294967295 8 8) || fail "not the answers of the script, $options"
  "${peer[@]}" send "$address" 0001-* >/dev/null
  # shellcheck disable=SC2086
  [ "$(call "$address" $options --deadline 3 match_any_oper)" = 'match_any_oper 1004' ] || fail "a dropped call has an answer"
  kill -HUP "$service"
  await "a report" grep -qE ' \(line 9\) +expected at most 1, came 1$' out
  end TERM
  expect 0 "calls as expected"
  sed -nE 's/^[0-9:.]+ [A-Za-z_]+ +[0-9]+ compact #[0-9]+//p' out | diff - <(printf '%s\n' ' -> 0' ' -> UNAVAILABLE' \
    ' -> 5 +20 ms' ' -> garbage' ' -> 4294967295' ' -> 4294967295' ' -> 8 +5 ms' ' -> 8 +10 ms' ' -> dropped') ||
    fail "lines show other answers"
  [ "$(grep -cE '^  sendRuleMac \(line 2\) +expected 6, came 6$' out)" -eq 2 ] || fail "reports: $(cat out)"
  [ "$(statuses "calls$options")" = '0 1014 5 71 4294967295 4294967295 8 8 1003 null' ] ||
    fail "recorded: $(statuses "calls$options")"
done

# ends FILE: how many of its calls ended with each status
ends() { statuses "$1" | tr ' ' '\n' | sort | uniq -c | awk '{print $1, $2}' | paste -sd' '; }

# Late answers are overtaken, and sent when the service ends, or never if the caller has gone.
serve out --listen "unix:$work/socket" --script rules --record late
play end
await_end
expect 3 "calls that were expected have not come"
grep -qE '^  sendRuleMac .* came 0: DIFFERS$' out || fail "no difference is reported: $(cat out)"
[ "$(ends late)" = '4 0 2 1015 3 6 4 null' ] || fail "recorded: $(statuses late)"
for scenario in flood memory places; do
  serve out --listen "unix:$work/socket" --delay 3600000 --status 6 --delay sendRuleMac=0 --record $scenario
  play $scenario
  await_end
  expect 0 $scenario
done
[[ $(ends places) =~ ^[0-9]+\ 6\ 2\ null$ ]] || fail "recorded where callers have gone: $(ends places)"

# Lines that are lost count for more than what was not expected.
closed() { exec "$tarn_serve" "$@" >&-; }
start closed.out closed --listen "unix:$work/socket" --script rules
await "a socket" test -S socket
end TERM
[ "$status" -eq 1 ] || fail "a closed stdout: status $status"
echo "scripts are played, late answers are sent"
