#!/usr/bin/env bash
# The stream of tarn-serve, of which good callers and others make use; its health.
# usage: stream_test.sh SOURCE_DIR TARN_SERVE SEND_ALL
set -eu
source=$1 tarn_serve=$2 send_all=$3
. "$source/tests/service/common.sh"
capture_all
rule=all/0016-sendRuleMac.compact.bin
stream() { "$python" "$source/tests/service/stream_test.py" "$@"; }

serve out --listen "unix:$work/socket"
stream health "$address" "$rule" >instances
stream faults "$address" "$rule"
end TERM
[ "$status" -eq 0 ] && [ ! -s out.err ] || fail "faults: status $status, $(cat out.err)"
grep -v -e ' sendRuleMac  ' out | sed -nE 's/^[0-9]+:[0-9:.]+ //p' | diff - <(
  for number in 1 2; do echo "stream #$number: damaged envelope"; done
  for number in 4 0; do echo "stream #$number: out of sequence"; done
  printf '%s: no such method\n' /MqcFesIntf/sendNothing /MqcFesIntf/
  echo sendRuleMac: no complete message arrived
  for number in 10 21 24 26 31; do echo "stream #$number: damaged envelope"; done
) || fail "faults are listed otherwise"
for line in "compact 8 $((8 * $(stat -c %s "$rule")))" "damaged 11 1060" "missing 1 0" \
  "1 of $methods methods called, 2 calls of unknown methods"; do
  sed 's/  */ /g' out | grep -qxF -- "$line" || fail "the totals lack '$line': $(tail -n 8 out)"
done

serve out --listen "unix:$work/socket"
stream health "$address" "$rule" >>instances
[ "$(sort -u instances | wc -l)" -eq 2 ] || fail "a service that was started again has the instance of before"
stream mutants "$address" "$rule"
stream flood "$address" "$rule" out
stream end "$address" "$rule" "$service"
wait "$service" || fail "SIGTERM: status $?"
unset 'services[-1]'
[ ! -s out.err ] || fail "reports: $(cat out.err)"
echo "the stream answers every call, whatever its caller does"
