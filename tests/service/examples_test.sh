#!/usr/bin/env bash
# The two example services, called by the platform that delivers over gRPC and by damaged messages.
# usage: examples_test.sh SOURCE_DIR EXAMPLES_DIR
set -eu
source=$1 examples=$2 send_all=$2/send_all
. "$source/tests/service/common.sh"
capture_all
cp "$source/examples/service.py" .
/usr/bin/flatc --python --grpc "$source"/schema/*.fbs
mkdir bad
head -c 60 all/0016-sendRuleMac.compact.bin >bad/0001-sendRuleMac.compact.bin

for name in "$examples/example_service" "/usr/bin/python3 service.py"; do
  read -ra command <<<"$name"
  start out "${command[@]}" "unix:$work/socket"
  await "a socket of $name" test -S socket
  for full in 0 1; do
    ! TARN_GRPC_TARGET=unix:$work/socket TARN_GRPC_FULL=$full "$examples/deliver_all" >table ||
      fail "$name answers methods that it does not have"
    awk '{print $1, $5, $6, $7}' table >statuses
    for line in 'sendRuleMac 0 0 0' 'qos_group_port 0 0 0' 'match_any_oper 1012 0 0'; do
      grep -qx "$line" statuses || fail "$name: no '$line' in $(cat table)"
    done
    grep -q '^55 methods, 165 calls, 53 failed, 2 asynchronous' table || fail "$name: $(tail -n 2 table)"
  done
  sort out | uniq -c | sed 's/^ *//' | diff - <(
    echo 6 qos_group_port: port 67305985, group 134678021
    echo 6 sendRuleMac: rule 67305985, MAC 25 26 27 28 29 30
  ) || fail "$name read something else"
  call "unix:$work/socket" bad/* | grep -qE '^sendRuleMac (INVALID_ARGUMENT|UNKNOWN)$' ||
    fail "$name takes a message that was cut"
  end KILL
  rm socket
done
echo "both example services read what the library sends"
