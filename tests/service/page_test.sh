#!/usr/bin/env bash
# Follows docs/delivery.md from the installed tree to own services, which are then sent requests of
# every method in both encodings, and a damaged one.
# usage: page_test.sh SOURCE_DIR BUILD_DIR LIBDIR
set -eu
source=$1 build=$2 lib=$3 send_all=$2/examples/send_all
. "$source/tests/service/common.sh"
cmake --install "$build" --prefix "$work/root" >/dev/null
export PATH=$work/root/bin:$PATH LD_LIBRARY_PATH=$work/root/$lib
export PKG_CONFIG_PATH=$work/root/$lib/pkgconfig
tarn_serve=tarn-serve
target=unix:$work/socket

# shown LANGUAGE WORDS: the block, with this test's socket in place of the page's
shown() { block "$@" | sed "s,unix:/tmp/mqc.sock,$target,"; }
# follow LANGUAGE WORDS: runs the block
follow() {
  shown "$@" >commands
  [ -s commands ] || fail "the page has no block with '$2'"
  sh -eu commands
}

shown c 'int main' >call.c
serve out --listen "$target" --json
[ "$(follow sh 'cc call.c')" = 'status 0: success' ] || fail "the page's caller does not succeed"
await "a line" grep -q 'qos_group_port ' out
grep -o 'qos_group_port .*' out | diff - <(grep -o 'qos_group_port  .*#1 .*' "$source/docs/delivery.md") ||
  fail "tarn-serve prints another line than the page shows"
end TERM

capture_all
mkdir bad
head -c 60 all/0016-sendRuleMac.compact.bin >bad/0001-sendRuleMac.compact.bin
cp "$source"/examples/service.* .
for words in service.py service.cpp; do
  shown sh "$words" >commands # its last line starts the service
  [ -s commands ] || fail "the page has no block with '$words'"
  head -n -1 commands | sh -eu
  start out sh -eu -c "exec $(tail -n 1 commands)"
  await "a socket of $words" test -S socket
  TARN_GRPC_TARGET=$target ./call >/dev/null || fail "$words does not answer the page's caller"
  for way in 00 10 01 11; do
    ! TARN_GRPC_TARGET=$target TARN_GRPC_FULL=${way%?} TARN_GRPC_STREAM=${way#?} "$build/examples/deliver_all" >table ||
      fail "$words answers methods that it does not have"
    awk '{print $1, $5, $6, $7}' table >statuses
    for line in 'sendRuleMac 0 0 0' 'qos_group_port 0 0 0' 'match_any_oper 1012 0 0'; do
      grep -qx "$line" statuses || fail "$words: no '$line' in $(cat table)"
    done
    grep -q "^$methods methods, $((3 * methods)) calls, $((methods - 2)) failed, 2 asynchronous" table ||
      fail "$words: $(tail -n 2 table)"
  done
  sort out | uniq -c | sed 's/^ *//' | diff - <(
    echo 12 qos_group_port: port 67305985, group 134678021
    echo 1 qos_group_port: port 7, group 3
    echo 12 sendRuleMac: rule 67305985, MAC 25 26 27 28 29 30
  ) || fail "$words read something else"
  "${peer[@]}" send "$target" bad/* | grep -qE '^sendRuleMac (INVALID_ARGUMENT|UNKNOWN)$' ||
    fail "$words takes a message that was cut"
  scenarios=health
  [ "$words" != service.cpp ] || scenarios="health faults mutants flood"
  for scenario in $scenarios; do
    "$python" "$source/tests/service/stream_test.py" "$scenario" "$target" all/0016-*.compact.bin >/dev/null ||
      fail "$words: $scenario"
  done
  end KILL
  rm socket
done
echo "the page leads to services that read what the library sends"
