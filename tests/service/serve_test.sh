#!/usr/bin/env bash
# tarn-serve: what it prints, answers, keeps and refuses.
# usage: serve_test.sh SOURCE_DIR TARN_SERVE SEND_ALL
set -eu
source=$1 tarn_serve=$2 send_all=$3
. "$source/tests/service/common.sh"
capture_all

# Every message: answered, listed, shown and kept unchanged, over a stream and by itself.
for options in "--stream --async" ""; do
  rm -rf kept expected
  mkdir kept
  serve out --listen "unix:$work/socket" --json --capture kept --status 7 \
    --status sendRuleMac=4294967295
  # shellcheck disable=SC2086
  call_all "$address" $options >answers
  [ "$(grep -c ' 7$' answers)" -eq $((messages - 2)) ] && [ "$(grep -c '^sendRuleMac 4294967295$' answers)" -eq 2 ] ||
    fail "not the statuses that were asked for: $(cat answers)"
  number=0
  for file in "${first[@]}"; do
    sequence=$((number % methods + 1)) number=$((number + 1)) # tarn-send runs once for each encoding
    name=${file##*/} name=${name#*-}
    IFS=. read -r method encoding _ <<<"$name"
    echo "$method $(stat -c %s "$file") $encoding #$sequence" >>expected
    cmp "$file" "kept/$(printf %04d $number)-$name" || fail "$name is not kept as it was sent"
  done
  grep -E '^[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} ' out | sed -E 's/^[^ ]+ //; s/ \{.*//; s/ +/ /g' |
    diff expected - || fail "not a line for each message"
  inspected kept/*.bin >inspected
  grep -o '{.*' out | "$python" -c 'import json, sys
sys.exit([*map(json.loads, sys.stdin)] != [*map(json.loads, open("inspected"))])' ||
    fail "--json shows other messages than tarn-inspect"
  [ -z "$options" ] || end TERM
done

# What cannot be answered, and the totals.
mkdir bad
head -c 60 all/0016-sendRuleMac.compact.bin >bad/0001-sendRuleMac.compact.bin
: >bad/0002-sendRuleMac.compact.bin
cp all/0016-sendRuleMac.compact.bin bad/0003-sendRuleMac.compact.bin
printf '\377\377' | dd of=bad/0003-sendRuleMac.compact.bin bs=1 seek=14 conv=notrunc 2>dd # f3 is outside
cp all/0016-sendRuleMac.compact.bin bad/0004-sendNothing.compact.bin
truncate -s 68157440 bad/0005-sendRuleMac.longest.bin
truncate -s 68157441 bad/0006-sendRuleMac.longer.bin
truncate -s 1000000 bad/0007-sendRuleMac.gzip.bin # small where it is compressed
"${peer[@]}" send "$address" bad/* | diff <(printf 'sendRuleMac INVALID_ARGUMENT\n%.0s' 1 2 3
  printf '%s\n' 'sendNothing UNIMPLEMENTED' 'sendRuleMac INVALID_ARGUMENT' 'sendRuleMac RESOURCE_EXHAUSTED' \
    'sendRuleMac UNIMPLEMENTED') - ||
  fail "a message that cannot be answered is"
grep -qE ' sendRuleMac +60 damaged \+15: the offset to head points outside$' out || fail "no line for a damaged message"
grep -q ' /MqcFesIntf/sendNothing: no such method$' out || fail "no line for an unknown method"
[ "$(find kept -type f | wc -l)" -eq "$messages" ] || fail "more is kept than was answered"
serving=$service
start hostile "${peer[@]}" hostile "$address" bad/0002-sendRuleMac.compact.bin
await "hostile text" grep -q ' damaged #?' out
end USR1
! grep -q $'\033' out && grep -qF ' /MqcFesIntf/\x1B[2J: no such method' out || fail "hostile text: $(grep -a 2J out | cat -v)"
service=$serving
end TERM
[ "$status" -eq 0 ] && [ "$(cat out.err)" = "tarn-serve: Compression algorithm 'gzip' is disabled." ] ||
  fail "SIGTERM: status $status, $(cat out.err)"
[ ! -e socket ] && [ ! -e socket.lock ] || fail "the socket is left behind"
sum() { cat "$@" | wc -c; }
for line in "compact $methods $(sum kept/*.compact.bin)" "full $fulls $(sum kept/*.full.bin)" \
  "damaged 5 68157589" "missing 2 0" "$methods of $methods methods called, 2 calls of unknown methods" " sendRuleMac 2"; do
  sed 's/  */ /g' out | grep -qxF -- "$line" || fail "the totals lack '$line': $(tail -n 64 out)"
done

# Whatever is damaged in a message, it is answered or refused, and the service goes on.
serve out --listen 127.0.0.1:0 --json
"$python" "$source/tests/service/stream_test.py" damage "$address" all/0016-*.compact.bin \
  all/*-act_redirect_nhp.*.bin all/*-match_all_oper.*.bin || fail "damaged messages"
end INT
[ "$status" -eq 0 ] && [ ! -s out.err ] || fail "SIGINT: status $status, $(cat out.err)"

refuses() { refused "$1" "$2" "$tarn_serve" "${@:3}"; }
isLocked() { ! flock -n "$1" true; }
start locked flock held.lock sleep 60
await "a lock" isLocked held.lock
socket=unix:$work/socket
ln -s expected socket.link
ln -s expected link.lock
cp expected file.lock
while IFS='|' read -r expected words arguments; do
  # shellcheck disable=SC2086
  refuses "$expected" "$words" $arguments
done <<END
2|listen is missing|
2|no such option|--listen $socket --bogus
2|unexpected argument|--listen $socket more
2|neither unix|--listen 127.0.0.1
2|neither unix|--listen 127.0.0.1:65536
2|not a loopback|--listen 0.0.0.0:0
2|not a loopback|--listen 127.example.org:0
2|not a loopback|--listen 0.0.0.0:0 --cert a --key b
2|require each other|--listen $socket --cert a
2|require each other|--listen $socket --ca a
2|no method is called sendNothing|--listen $socket --status sendNothing=1
2|not a 32-bit|--listen $socket --status 4294967296
2|not a 32-bit|--listen $socket --status sendRuleMac=
2|no method is called sendNothing|--listen $socket --delay sendNothing=1
2|not a number from 0 to 3600000|--listen $socket --delay 3600001
2|not a number from 0 to 3600000|--listen $socket --delay sendRuleMac=
2|absent: No such file|--listen $socket --script absent
2|expected: line 1: |--listen $socket --script expected
1|absent: cannot be read|--listen $socket --cert absent --key expected
1|expected: holds no certificate|--listen $socket --cert expected --key expected
1|No such file|--listen $socket --capture absent
1|recording absent/calls: No such file|--listen $socket --record absent/calls
1|recording socket.link: File exists|--listen $socket --record socket.link
2|not a number from 1|--listen $socket --record calls --record-mb 0
2|not a number from 1|--listen $socket --record calls --record-mb 1048577
1|No such file|--listen unix:$work/absent/socket
1|in use|--listen unix:$work/expected
1|in use|--listen unix:$work/socket.link
1|in use|--listen unix:$work/held
1|link.lock: |--listen unix:$work/link
1|file.lock is not a lock file|--listen unix:$work/file
END
[ -L socket.link ] && [ -L link.lock ] && cmp expected file.lock || fail "a file was taken for a socket or a lock"
end KILL
[ -s expected ] || fail "a file was taken for a socket"
documented "$tarn_serve"

# An address that is served stays with its service, even one that does not move; a dead one's is free.
serve out --listen "$socket"
refuses 1 'in use' --listen "$socket"
kill -STOP "$service"
refuses 1 'in use' --listen "$socket"
kill -CONT "$service"
[ "$(call "$socket" sendClassifierTemplate)" = 'sendClassifierTemplate 0' ] || fail "the socket was taken away"
end KILL
serve out --listen "$socket"
end TERM
serve out --listen localhost:0
refuses 1 'in use' --listen "$address"
end TERM
start full "$python" -c 'import socket, time
listener, waiting = socket.socket(socket.AF_UNIX), socket.socket(socket.AF_UNIX)
listener.bind("full.socket")
listener.listen(0)
waiting.connect("full.socket")
print("full", flush=True)
time.sleep(60)'
await "a socket with no room" grep -q full full
refuses 1 'in use' --listen "unix:$work/full.socket"
end KILL

# With several callers at once, captures and lines are in one order.
mkdir order
serve out --listen "$socket" --capture order
callers=()
for _ in 1 2 3 4; do
  call "$socket" --keep-going --file compacts >/dev/null &
  callers+=($!)
done
wait "${callers[@]}"
end TERM
ls order | sed -E 's/[0-9]+-(.*)\.(.*)\.bin/\1 \2/' >kept_order
awk '$5 ~ /^#/ {print $2, $4}' out | diff - kept_order >/dev/null || fail "captures are in another order than lines"
echo "messages are listed, shown and kept; what cannot be served is refused"
