#!/usr/bin/env bash
# tarn-serve where something runs short: descriptors, room for captures, readers of its output; its
# signals, and several that start at once.
# usage: edges_test.sh SOURCE_DIR TARN_SERVE
set -eu
source=$1 tarn_serve=$2
. "$source/tests/service/common.sh"
address=unix:$work/socket
# answered WHEN [ANSWER]: a good call is
answered() {
  local answer
  answer=$(call "$address" sendRuleMac)
  [ "$answer" = "sendRuleMac ${2:-0}" ] || fail "$1: $answer"
}
# expect STATUS WHEN: the status of the service that ended
expect() { [ "$status" -eq "$1" ] || fail "$2: status $status, $(tail -n 5 ./*.err)"; }

# More silent connections than descriptors: good calls are answered beside them and behind them, and kept.
mkdir kept
program=$tarn_serve
descriptors() { find "/proc/$serving/fd" -mindepth 1 2>/dev/null | wc -l; }
isFull() { [ "$(descriptors)" -ge 46 ]; }
limited() { ulimit -n 64 && exec "$program" "$@"; }
for listen in "$address" 127.0.0.1:0; do
  tarn_serve=limited serve out --listen "$listen" --capture kept
  serving=$service
  start silent "${peer[@]}" silent "$address" 150
  await "silent peers" grep -q silent silent
  await "a limit" isFull
  [ "$(descriptors)" -lt 60 ] || fail "silent peers have every descriptor"
  answered "beside silent peers at $listen"
  end USR1
  service=$serving
  answered "behind silent peers at $listen"
  end TERM
  expect 0 "silent peers at $listen"
done

# Of several that start at once where one was killed, one listens.
address=unix:$work/socket
refusals() { [ "$(cat many.*.err | grep -c 'in use')" -eq 5 ] && grep -q listening many.?; }
for _ in 1 2 3; do
  serve out --listen "$address"
  end KILL
  rm -f many.*
  for number in 1 2 3 4 5 6; do start "many.$number" "$tarn_serve" --listen "$address"; done
  await "one service and five refusals" refusals
  answered "several at once"
  kill "${services[@]}" 2>/dev/null || true # all but one have ended
  wait "${services[@]}" 2>/dev/null || true
  services=()
  [ "$(cat many.? | grep -c listening)" -eq 1 ] || fail "several listen at once"
done
rm -f socket socket.lock

# A reader that stalls: calls are answered, missing lines are counted, signals are heard.
mkfifo pipe
start read "${peer[@]}" reader pipe
reader=$service
stalled() { exec "$tarn_serve" "$@" >pipe; }
start out stalled --listen "$address"
await "a socket" test -S socket
[ "$("${peer[@]}" chatter "$address" 2000)" = '2000 calls are answered' ] || fail "a stalled reader: calls are not answered"
answered "a stalled reader"
kill -USR1 "$reader"
await "lines" grep -q 'no such method' read
answered "a reader that goes on"
end TERM
expect 1 "a reader that stalled"
service=$reader
wait "$reader"
unset 'services[-1]'
missing=$(awk '/^tarn-serve: [0-9]+ lines are missing here/ {sum += $2} END {print sum + 0}' read)
[ "$missing" -gt 0 ] && [ $((missing + $(grep -cE '^[0-9]+:.* (sendRuleMac|/x)' read))) -eq 2002 ] ||
  fail "missing: $missing, $(cut -c 1-40 read | sort | uniq -c | tail)"
grep -q "not all lines could be written; $missing were lost$" out.err || fail "lost lines: $missing, $(cat out.err)"

start read "${peer[@]}" reader pipe
start out stalled --listen "$address"
await "a socket" test -S socket
"${peer[@]}" chatter "$address" 50 >/dev/null
end TERM
expect 1 "a stalled reader"
grep -q 'not all lines could be written; [1-9]' out.err || fail "a stalled reader: $(cat out.err)"
service=${services[-1]}
end KILL

# A reader that leaves.
early() { exec "$tarn_serve" "$@" > >(head -n 1 >line); }
start out early --listen "$address"
await "a line" test -s line
answered "stdout is closed"
answered "stdout is closed still"
end TERM
expect 1 "stdout was closed"

# With no stdout and no stderr nothing is written anywhere else, and calls are answered.
closed() { exec "$tarn_serve" "$@" >&- 2>&-; }
start out closed --listen "$address"
await "a socket" test -S socket
answered "stdout and stderr are closed"
"${peer[@]}" garbage "$address" 1
[ ! -s socket.lock ] || fail "the lock has lines: $(cat socket.lock)"
end TERM
expect 1 "stdout and stderr were closed"

# SIGHUP shows totals; where the terminal has gone, it is the end.
serve out --listen "$address"
kill -HUP "$service"
await "totals" grep -q "^0 of $methods methods called" out
answered SIGHUP
end TERM
expect 0 SIGHUP
grep -q "^1 of $methods methods called" out || fail "SIGHUP: $(cat out)"
start terminal "${peer[@]}" terminal sh -c 'exec "$0" "$@" >shown' "$tarn_serve" --listen "$address"
await "a socket" test -S socket
answered "at a terminal"
end USR1
expect 0 "a terminal that closed"
grep -q "^1 of $methods methods called" shown || fail "a terminal that closed: $(cat shown)"

# A recording whose folder goes is reported; calls are answered.
mkdir records
serve out --listen "$address" --record records/calls
answered "a recording"
mv records elsewhere
isReported() { answered "no recording" && grep -q 'records/calls: No such file .*; until this changes, calls are missing' out.err; }
await "a report of the recording" isReported
end TERM
expect 0 "a recording whose folder goes"
[ "$(wc -l <out.err)" -eq 1 ] && [ -s elsewhere/calls ] || fail "a recording whose folder goes: $(cat out.err)"

# Captures that fail: refused, reported once, counted separately.
rm kept/*
serve out --listen "$address" --capture kept
answered "captures"
mv kept moved
for _ in 1 2 3; do answered "captures fail" 1013; done
mv moved kept
answered "captures again"
end TERM
sed 's/.*: //' out.err | diff - <(echo 'No such file or directory; requests are refused'
  echo 'written again; 3 requests were refused') || fail "failing captures are reported otherwise"
size=$(stat -c %s kept/0001-*)
for line in "compact 2 $((2 * size))" "not kept 3 $((3 * size))" " sendRuleMac 2"; do
  sed 's/  */ /g' out | grep -qxF -- "$line" || fail "the totals lack '$line': $(cat out)"
done
[ "$(grep -c ' not kept$' out)" -eq 3 ] && [ "$(find kept -type f | wc -l)" -eq 2 ] || fail "not kept: $(cat out)"
echo "what runs short does not stop the service"
