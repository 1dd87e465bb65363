#!/usr/bin/env bash
# tarn-send: what it sends, prints, encodes and refuses.
# usage: send_test.sh SOURCE_DIR TARN_SEND TARN_SERVE PLATFORM LOOPBACK LIBRARY
set -eu
source=$1 send=$2 tarn_serve=$3 platform=$4 loopback=$5 library=$6
. "$source/tests/service/common.sh"
unset "${!TARN_GRPC_@}"
to=unix:$work/socket

# answered STATUS LINES ARGUMENT...: that exit status; those answers, in any order and without times, then stderr
answered() {
  local expected=$1 lines=$2 status=0
  shift 2
  timeout 120 "$send" "$@" >shown 2>said || status=$?
  sed -E 's/,"microseconds":[0-9]+\}$//; s/"(method|status|meaning|line)"://g; s/[{"]//g' shown | sort | cat - said |
    diff <(printf '%s\n' "$lines") - && [ "$status" -eq "$expected" ] || fail "$*: status $status"
}

serve out --listen "$to" --json --status match_any_oper=5 --status AddMqcSmoothMsg=16
answered 0 'sendRuleMac,0,success' --to "$to" sendRuleMac '{"head": {"f0": 1}, "f3": 3}' f1=00:11:22:33:44:55 f3=0x25
answered 1 "match_any_oper,5,a service's status" --to "$to" match_any_oper
answered 1 'AddMqcSmoothMsg,16,busy: the limit of calls or bytes in flight is reached' --to "$to" AddMqcSmoothMsg
for options in --async --oneway "--stream --full" "--deadline 2.5 --async --stream"; do
  # shellcheck disable=SC2086
  answered 0 'sendRuleMac,0,success' --to "$to" $options sendRuleMac '{"head":{"f0":1},"f1":"001122334455","f3":37}'
done
await "a line for each message" eval '[ "$(wc -l <out)" -eq 8 ]'
[ "$(grep -c '{"head": {"f0": 1,.*"f1": \[0,17,34,51,68,85\],"f2": \[0,0,0,0,0,0\],"f3": 37}$' out)" -eq 5 ] &&
  [ "$(grep -c ' full #' out)" -eq 1 ] || fail "another message arrives: $(cat out)"
TARN_GRPC_TARGET=$to TARN_GRPC_FULL=1 "$send" sendRuleMac f3=1 >/dev/null
await "the environment's encoding" eval '[ "$(grep -c " full #" out)" -eq 2 ]'
printf '{"f3":\n 7}' | TARN_GRPC_TARGET=unix:/absent "$send" --to "$to" sendRuleMac - >/dev/null || fail "--to is not heard"
await "the standard input's request" grep -q '"f3": 7}$' out

# Lines, up to the first that fails, or all.
for n in $(seq 3000); do echo "{\"method\":\"qos_group_port\",\"request\":{\"f0\":$n}}"; done >lines
for options in "" --async "--async --stream --keep-going" --oneway; do
  lines=$(wc -l <out)
  # shellcheck disable=SC2086
  TARN_GRPC_MAX_IN_FLIGHT=100 "$send" --to "$to" $options <lines >shown 2>said || fail "lines $options: $(cat said)"
  [ "$(cat said)" = 'tarn-send: 3000 of 3000 requests sent: 3000 with status 0' ] || fail "another summary: $(cat said)"
  sort="sort -n"
  [[ $options = *stream* || -z $options ]] && sort=cat
  sed -E 's/.*"line":([0-9]+),.*/\1/' shown | $sort | diff - <(seq 3000) || fail "not an answer for each line $options"
  await "every line $options" eval '[ "$(wc -l <out)" -eq $((lines + 3000)) ]'
  tail -n 3000 out | grep -o '{"f0": [0-9]*' | cut -d ' ' -f 2 | $sort | diff - <(seq 3000) || fail "other lines arrive $options"
done
printf '%s\r\n\n' '{"method":"sendRuleMac"}' ' {"variant":"async","method":"match_any_oper"} ' \
  '{"request":{"f3":9},"variant":"oneway","method":"sendRuleMac"}' >mixed
answered 1 "1,sendRuleMac,0,success
3,match_any_oper,5,a service's status
5,sendRuleMac,0,success
tarn-send: 3 of 3 requests sent: 2 with status 0, 1 with status 5" --to "$to" --keep-going --file mixed
sed -i s/async/sync/ mixed
answered 1 "1,sendRuleMac,0,success
3,match_any_oper,5,a service's status
tarn-send: 2 of 3 requests sent: 1 with status 0, 1 with status 5" --to "$to" --file mixed
end TERM
answered 1 "sendRuleMac,1014,UNAVAILABLE: no connection to the service: failed to connect to all addresses; \
last error: UNKNOWN: $to: No such file or directory" --to "$to" --async sendRuleMac
! TARN_GRPC_WAIT=1 timeout 120 "$send" --to "$to" --deadline 0.2 sendRuleMac >shown && grep -q '"status":1004,' shown ||
  fail "--deadline is not heard: $(cat shown)"
answered 1 "sendRuleMac,22,no handle, no request, or another argument is missing: TARN_GRPC_TARGET is 'unix:', \
which has no path
tarn_grpc: TARN_GRPC_TARGET is 'unix:', which has no path" --to unix: sendRuleMac
block sh openssl >make_certificates
sh -eu make_certificates 2>log || fail "no certificates: $(cat log)"
serve out --listen 127.0.0.1:0 --ca ca.pem --cert service.pem --key service.key
answered 0 'match_any_oper,0,success' --to "$address" --ca ca.pem --cert caller.pem --key caller.key \
  --server-name localhost match_any_oper
end TERM

# Other platforms, which have statuses and callbacks of their own.
answered 0 'sendRuleMac,0,success' --platform "$loopback" --async sendRuleMac f3=1
answered 1 'sendRuleMac,77,status 77 of the platform' --platform "$platform" --library "$library" sendRuleMac
answered 1 'sendRuleMac,12,no memory, or no thread for completions' --platform "$platform" --oneway sendRuleMac
answered 1 '1,sendRuleMac,77,status 77 of the platform
3,match_any_oper,0,success
5,sendRuleMac,12,no memory, or no thread for completions
tarn-send: 3 of 3 requests sent: 1 with status 0, 1 with status 12, 1 with status 77' --platform "$platform" --keep-going --file - <<'END'
{"method": "sendRuleMac", "variant": "async"}

{"method": "match_any_oper"}

{"method": "sendRuleMac", "variant": "oneway"}
END
TARN_GRPC_DEADLINE_MS=1 answered 1 'tarn-send: 1 call was not answered' --platform "$platform" --async match_any_oper

# A dry run: the message alone, never to a terminal; several as captures.
mkdir kept
"$send" --dry-run AddMqcSmoothMsg f1=2 | od -An -tx1 | diff <(echo ' 0c 00 00 00 08 00 08 00 00 00 04 00 08 00 00 00
 02 00 00 00') - || fail "another message"
script -qec "'$send' --dry-run --platform '$loopback' AddMqcSmoothMsg" /dev/null | grep -q 'not for a terminal' ||
  fail "a message on a terminal"
"$send" --dry-run --platform "$loopback" --file mixed --output kept &&
  [ "$(ls kept | tr '\n' ' ')" = '0001-sendRuleMac.compact.bin 0002-match_any_oper.compact.bin 0003-sendRuleMac.compact.bin ' ] ||
  fail "captures are others: $(ls kept)"

# Nothing is sent when anything is wrong, and the place is stated.
export TARN_GRPC_TARGET=$to
refuses() { refused "$1" "" "$send" "${@:3}" && grep -q "^tarn-send: $2" said || fail "${*:3}: $(cat said)"; }
while IFS='|' read -r words request; do
  refuses 2 "$words\$" act_redirect_nhp "$request"
  case $request in
    {*)
      printf '\n{"method":"act_redirect_nhp"}\n{"method":"act_redirect_nhp","request":%s}\n' "$request" >bad
      refuses 2 "bad:3: $([[ $words = *\.\** ]] || echo request.)$words\$" --file bad ;;
  esac
done <<'END'
head.f3: no such field; the nearest is f[012]|{"head": {"f3": 1}}
f28: no such field; the nearest is f[0-9]*|f28=1
hed: no such field; the nearest is head|{"hed": {}}
f11\[3\].g: no such field; the nearest is f0|f11[3].g=1
f13\[1\]: 65536: not a whole number from 0 to 65535|{"f13": [0, 65536]}
f13\[1\]: 65536: not a whole number from 0 to 65535|f13=0,65536
f1: 4294967296: not a whole number from 0 to 4294967295|f1=0x100000000
f1: -1: not a whole number from 0 to 4294967295|{"f1": -1}
f1: 1.5: not a whole number from 0 to 4294967295|{"f1": 1.5}
f1: nothing: not a whole number from 0 to 4294967295|f1=
f1: string, where a number is expected|{"f1": "1"}
f1: null, where a number is expected|{"f1": null}
head: array, where an object is expected|{"head": []}
f13: string, where an array is expected|{"f13": "00"}
f11\[16\]: the array has 16 elements|{"f11": [{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{}]}
f11\[1\].f0: 17 elements: the array has 16|{"f11": [{}, {"f0": "0011223344556677889900112233445566"}]}
f11\[1\].f0\[2\]: 256: not a whole number from 0 to 255|{"f11": [{}, {"f0": [0, 0, 256]}]}
f11\[1\].f0\[1\]: boolean, where a number is expected|{"f11": [{}, {"f0": [0, true]}]}
f18: 3 elements: the array has 2|f18=1,2,3
f11\[16\]: the last element is \[15\]|f11[16].f0=1
f11\[0\].f0: no hexadecimal bytes such as 00:11:22 or 001122|f11[0].f0=00:1
f11\[0\].f0: no hexadecimal bytes such as 00:11:22 or 001122|f11[0].f0=00:11-22
f11\[0\].f0: no hexadecimal bytes such as 00:11:22 or 001122|{"f11": [{"f0": "00:1g"}]}
f11\[0\].f0: no hexadecimal bytes such as 00:11:22 or 001122|{"f11": [{"f0": "00112"}]}
f11\[0\]: it has fields of its own|f11[0]=1
f1: it is no array|f1[0]=1
f1: it has no .f0|f1.f0=1
f1: not FIELD=VALUE|f1
head.f1: it stands twice in its object|{"head": {"f1": 1, "f0": 2, "f1": 1}}
parse error at column .*|{"f1": 1
parse error at column .*|{"f1": 01}
number overflow parsing .*|{"f1": 1e999}
END
while IFS='|' read -r words line; do
  printf '%s\n' "$line" | cat mixed - >bad
  refuses 2 "bad:7: $words" --file bad
done <<END
method: sendRuleMc: no such method; the nearest is sendRuleMac\$|{"method": "sendRuleMc"}
method: sendRuleMac.x00: no such method; the nearest is sendRuleMac\$|{"method": "sendRuleMac\\u0000"}
method: it is missing\$|{"request": {}}
varint: no such name; the nearest is variant\$|{"method": "sendRuleMac", "varint": "sync"}
variant: neither "sync" nor "async" nor "oneway"\$|{"method": "sendRuleMac", "variant": "on"}
array, where an object is expected\$|[]
request: array, where an object is expected\$|{"method": "sendRuleMac", "request": []}
parse error .*ill-formed UTF-8|{"method": "$(printf '\377')"}
array, where an object is expected\$|$(printf '[%.0s' $(seq 90000))
request.*: nested deeper than 16\$|{"request": $(printf '[%.0s' $(seq 90000))
END
printf '%s\0%s' '{"method":"sendRuleMac"}' ' behind' >bad
refuses 2 'bad:1: a zero byte at offset 24' --file bad
refuses 2 'sendRuleMc: no such method; the nearest is sendRuleMac' sendRuleMc
refuses 2 'f3\[1\]: 256: not a whole number from 0 to 255' ProcMqcBatchMsg '{"f3": [0, 256]}'
refuses 2 'f3\[1\]: array, where a number is expected' ProcMqcBatchMsg '{"f3": [0, [1]]}'
refuses 2 'f3: it is no array' ProcMqcBatchMsg 'f3[1]=1'
refuses 2 'sendRuleMc: no such method' --template sendRuleMc
refuses 2 'f3=1 beside an option that sends nothing' --template sendRuleMac f3=1
refuses 2 'stdin: parse error at column 1' sendRuleMac -
refuses 2 'parse error at line 2, column 1: ' sendRuleMac $'{\n,}'
refuses 2 'absent: No such file' --file absent
refuses 2 'sendRuleMac beside --file' --file mixed sendRuleMac
refuses 2 '--dry-run of several requests needs --output FOLDER' --dry-run --file mixed
refuses 2 '--output is for --dry-run' --output kept sendRuleMac
refuses 2 '--dry-run beside --load' --dry-run --load sendRuleMac
refuses 2 '--bogus: no such option' --bogus
for seconds in 0 3600.1 1e1 -1 nan 1s; do refuses 2 "--deadline $seconds: not seconds" --deadline $seconds sendRuleMac; done
refuses 2 '--stream needs a platform that has TarnGrpc_open' --platform "$loopback" --stream sendRuleMac
refuses 2 'an option.s value is empty' --to '' sendRuleMac
(unset TARN_GRPC_TARGET && refuses 2 'no service to call; use --to TARGET' sendRuleMac) || exit 1
refuses 1 'platform: ./absent.so: cannot open shared object' --platform ./absent.so sendRuleMac
refuses 1 'library: absent.so: cannot open shared object' --library absent.so sendRuleMac
refuses 1 "platform: $library: undefined symbol: " --platform "$library" sendRuleMac
refuses 1 'platform libm.so.6: it lacks RPC_GetRpcInvoke' --platform libm.so.6 sendRuleMac
refuses 1 "library $platform: it lacks MqcFesIntf_" --platform "$platform" --library "$platform" sendRuleMac
refuses 1 'capture directory .*/absent: No such file' --dry-run --file mixed --output absent
refuses 1 'absent/file: No such file' --dry-run sendRuleMac --output absent/file
for output in "--platform $platform --keep-going --file lines" "--dry-run AddMqcSmoothMsg" --methods; do
  status=0
  # shellcheck disable=SC2086
  "$send" $output >/dev/full 2>said || status=$?
  [ "$status" -eq 1 ] && grep -q '^tarn-send: stdout: No space' said || fail "a full disk: $(cat said)"
  [[ $output != *lines ]] || grep -q '^tarn-send: 1 of 3000 requests' said || fail "sent on: $(cat said)"
done

documented "$send"
[ "$("$send" --methods | wc -l)" -eq "$methods" ] || fail "--methods lists others than tests/methods.txt"
. "$source/send/completion.bash"
# completed WORD...: what the shell offers for the last word
completed() {
  COMP_LINE="$send $*"
  read -ra COMP_WORDS <<<"$(sed 's/[:=]/ & /g' <<<"$COMP_LINE")"  # as the shell does
  COMP_POINT=${#COMP_LINE} COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  _tarn_send "$send"
  printf '%s\n' "${COMPREPLY[@]}"
}
[ "$(completed --to "$to" sendRule)" = sendRuleMac ] && [ "$(completed --template sendRule)" = sendRuleMac ] ||
  fail "methods are not completed"
[ "$(completed --to unix : "$work/socket" sendRuleMac f3 = 1 head.f | tr '\n' ' ')" = 'head.f0= head.f1= head.f2= head.f3= head.f4= head.f5= ' ] ||
  fail "fields are not completed"
for option in $("$send" --help | grep -oE -- '--[a-z-]+' | sort -u); do
  completed "$option" | grep -qxe "$option" || fail "$option is not completed"
done
[ "$(completed --file mix)" = mixed ] || fail "files are not completed"
echo "requests are sent, encoded, refused"
