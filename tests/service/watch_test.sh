#!/usr/bin/env bash
# The page of tarn-serve: its addresses, what is answered over HTTP, what a browser shows, and that whatever the page's
# readers do, calls are answered and the service ends.
# usage: watch_test.sh SOURCE_DIR TARN_SERVE SEND_ALL [BROWSER]
set -eu
source=$1 tarn_serve=$2 send_all=$3 browser=${4:-}
. "$source/tests/service/common.sh"
watch=("$python" "$source/tests/service/watch_test.py")
# watched ARGUMENT...: serve with a page; its address for browsers in $url, the service's process in $serving
watched() {
  serve out --listen "unix:$work/socket" "$@"
  await "a page" grep -q '^page at ' out
  url=$(sed -n 's/^page at //p' out)
  serving=$service
}

descriptors() { find "/proc/$serving/fd" -mindepth 1 | wc -l; }
isFull() { [ "$(descriptors)" -ge 46 ]; }

# Loopback addresses alone; a fault is one line, and nothing is served.
while IFS='|' read -r expected words page; do
  refused "$expected" "$words" "$tarn_serve" --listen "unix:$work/socket" --page "$page"
done <<'END'
2|not HOST:PORT of a loopback address|0.0.0.0:0
2|not HOST:PORT of a loopback address|[::]:0
2|not HOST:PORT of a loopback address|127.example.org:0
2|not HOST:PORT of a loopback address|unix:page
2|not HOST:PORT of a loopback address|8080
2|not HOST:PORT of a loopback address|127.0.0.1:65536
2|value is empty|
END
for page in localhost:0 127.0.0.9:0 127.0.0.1:0; do
  watched --page "$page"
  [[ $url =~ ^http://${page%0}[1-9][0-9]*/$ ]] || fail "--page $page: $url"
  "${watch[@]}" get "$url" 200 || fail "--page $page is not served"
  [ "$page" = 127.0.0.1:0 ] || end TERM
done
busy=${url#http://} busy=${busy%/}
refused 1 "cannot serve the page at $busy: Address already in use" "$tarn_serve" --listen "unix:$work/other" --page "$busy"

# What is answered over HTTP.
"${watch[@]}" http "$url" || fail "what is answered over HTTP"
end TERM
[ "$status" -eq 0 ] && [ ! -s out.err ] || fail "a page: status $status, $(cat out.err)"

# Idle peers, readers that stall, requests that never end: calls are answered, the page is, and with all of them there
# the service ends as without.
capture_all
requests "${first[@]:0:methods}" >compacts
watched --page 127.0.0.1:0
start idle "${watch[@]}" idle "$url" 1000
await "idle peers" grep -q 'peers are there' idle
[ "$(descriptors)" -lt 100 ] || fail "idle peers of the page have many descriptors"
"${watch[@]}" get "$url" 200 || fail "no page behind idle peers"
call "$address" --keep-going --file compacts >answers
[ "$(grep -c ' 0$' answers)" -eq "$methods" ] || fail "beside idle peers: $(cat answers)"
for _ in $(seq 20); do call "$address" --keep-going --file compacts >/dev/null; done # as long an answer as there is
start stalled "${watch[@]}" stall "$url" 20
await "stalled peers" grep -q 'peers are there' stalled
[ "$(call "$address" sendRuleMac)" = 'sendRuleMac 0' ] || fail "beside stalled peers no call is answered"
"${watch[@]}" get "$url" 200 || fail "no page behind stalled peers"
start again "${watch[@]}" stall "$url" 4
await "stalled peers" grep -q 'peers are there' again
service=$serving
end TERM
[ "$status" -eq 0 ] && grep -q "^$methods of $methods methods called" out || fail "stalled peers: status $status"

# Where descriptors are short, neither side's peers take all of them from the other.
program=$tarn_serve
limited() { ulimit -n 64 && exec "$program" "$@"; }
tarn_serve=limited watched --page 127.0.0.1:0
start full "${watch[@]}" fill "$work/socket" 60
await "callers that have all descriptors of their own" isFull
"${watch[@]}" get "$url" 200 || fail "beside callers that have all descriptors of their own, there is no page"
end KILL
start idle "${watch[@]}" idle "$url" 100
start stalled "${watch[@]}" stall "$url" 50
start silent "${peer[@]}" silent "$address" 100
await "idle peers" grep -q 'peers are there' idle
await "stalled peers" grep -q 'peers are there' stalled
await "silent peers" grep -q silent silent
[ "$(call "$address" sendRuleMac)" = 'sendRuleMac 0' ] || fail "short of descriptors, a call is not answered"
"${watch[@]}" get "$url" 200 || fail "short of descriptors, there is no page"
service=$serving
end TERM
[ "$status" -eq 0 ] || fail "short of descriptors: status $status, $(cat out.err)"

# A flood of calls: each is answered and counted; the page has the latest.
watched --page 127.0.0.1:0
start polls "${watch[@]}" poll "$url"
await "a reader of the page" grep -q polling polls
ASAN_OPTIONS=detect_leaks=0 "$tarn_send" --to "$address" --load --count 20000 sendRuleMac >load ||
  fail "calls of a flood failed: $(cat load)"
end USR1
[ "$status" -eq 0 ] || fail "the page beside a flood: $(cat polls polls.err)"
grep -q '^20000 calls, the latest 1000$' polls || fail "after a flood the page has $(tail -n 1 polls)"
service=$serving
end TERM

# In a browser.
[ -n "$browser" ] || exit 0
head -c 60 all/0016-sendRuleMac.compact.bin >0001-sendRuleMac.compact.bin
watched --page 127.0.0.1:0 --status sendRuleMac=5 --delay qos_group_port=3600000
"${watch[@]}" browser "$url" "$address" "$browser" "$tarn_send" "$tarn_serve" "$serving" ||
  fail "a browser shows something else"
echo "calls are shown as they arrive; no reader of the page is in their way"
