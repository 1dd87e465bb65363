#!/usr/bin/env bash
# The calls of a program over gRPC, as the program and the service record them, made again by tarn-send: recordings
# differ in nothing but times, processes and numbers.
# usage: again_test.sh SOURCE_DIR TARN_SERVE RECORD DELIVER_ALL
set -eu
source=$1 tarn_serve=$2 record=$3 deliver_all=$4
. "$source/tests/service/common.sh"
inspect=${tarn_serve%/*}/tarn-inspect
export LC_ALL=C TARN_GRPC_STREAM ASAN_OPTIONS=detect_leaks=0

# calls FILE: method, variant, bytes, status and request of each; unary calls may overtake each other
calls() {
  "$inspect" --json "$1" | sed -E 's/.*"sequence": [0-9]+, //; s/"microseconds": [^,]*, //' |
    if [ "$TARN_GRPC_STREAM" -eq 1 ]; then cat; else sort; fi
}
# serves RECORDING COMMAND...: a command that calls a service, which records it
serves() {
  serve out --listen "unix:$work/socket" --status sendRuleMac=5 --record "$1"
  "${@:2}" >shown 2>said || true # sendRuleMac fails
  end TERM
  [ "$status" -eq 0 ] || fail "tarn-serve: status $status, $(cat out.err)"
}

for TARN_GRPC_STREAM in 0 1; do
  serves arrived env TARN_GRPC_TARGET="unix:$work/socket" LD_PRELOAD="$record" TARN_RECORD=sent "$deliver_all"
  serves again "$tarn_send" --to "unix:$work/socket" --replay sent --check
  [ ! -s shown ] && [ "$(tail -n 1 said)" = 'tarn-send: 0 differences from what is recorded' ] ||
    fail "stream $TARN_GRPC_STREAM: $(cat shown said)"
  for file in sent arrived again; do calls $file >$file.calls; done
  [ "$(wc -l <sent.calls)" -eq $((3 * methods)) ] || fail "$(wc -l <sent.calls) calls are recorded"
  diff arrived.calls again.calls || fail "made again, calls arrive as others"
  # Who sends a one-way message learns of no status but that of the sending.
  sed '/"sendRuleMac", "variant": "oneway"/s/"status": 5/"status": 0/' arrived.calls | diff sent.calls - ||
    fail "calls arrive as others than were sent"
  if [ "$TARN_GRPC_STREAM" -eq 1 ]; then
    "$inspect" --diff arrived again >shown || fail "made again, calls arrive as others: $(cat shown)"
    ! "$inspect" --diff sent again >shown
    tail -n +2 shown | diff - <(echo '  status: 0 success, then 5 the capture directory cannot be written'
      echo "equal $((3 * methods - 1)), changed 1, dropped 0, added 0") || fail "what differs is shown otherwise"
  fi
  rm sent arrived again
done

# A caller that states no variant, or another word.
"$tarn_send" --platform libtarn_loopback.so --dry-run --output rule sendRuleMac
serve out --listen "unix:$work/socket" --record odd
serving=$service
start peer "${peer[@]}" hostile "unix:$work/socket" rule
await "a call" grep -q sendRuleMac out
end USR1
service=$serving
end TERM
"$inspect" odd | grep -q ' sendRuleMac *sync ' || fail "an unknown variant: $("$inspect" odd)"
echo "recordings differ in nothing but times"
