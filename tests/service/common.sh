# shellcheck shell=bash
# Sourced by tests of the programs: captures of every method, services that are started and always ended.

python=${PYTHON:-python3}
read -r methods fulls < <(awk '/^[^#]/ {++m; f += $7 > 0} END {print m, f}' "$source/tests/methods.txt")
messages=$((methods + fulls))
work=$(mktemp -d)
services=()
trap 'for process in "${services[@]}"; do kill -KILL "$process" 2>/dev/null || true; done; wait; rm -rf "$work"' EXIT
cd "$work"
programs=${tarn_serve:-}
programs=${programs%/*}
tarn_send=$programs/tarn-send
if [ -n "${TARN_SERVE_ALSO:-}" ]; then # options that every tarn-serve has beside those of the test
  mkdir also
  printf '#!/bin/sh\nexec "%s" %s "$@"\n' "$tarn_serve" "$TARN_SERVE_ALSO" >also/tarn-serve
  chmod +x also/tarn-serve
  tarn_serve=$work/also/tarn-serve
fi
fail() { echo "${0##*/}: $*" >&2; exit 1; }

# await WHAT COMMAND...: until the command succeeds, at most 10 seconds
await() {
  local what=$1 round
  shift
  for round in $(seq 200); do
    ! "$@" || return 0
    sleep 0.05
  done
  fail "$what did not come about: $(tail -qn 5 ./*.err)"
}

# start OUTPUT COMMAND...: a service in the background, its process in $service
start() {
  local output=$1
  shift
  "$@" >"$output" 2>"$output.err" &
  service=$!
  services+=("$service")
}

# serve OUTPUT ARGUMENT...: tarn-serve, once it listens; its address in $address
serve() {
  : >"$1"
  start "$1" "$tarn_serve" "${@:2}"
  await "listening, $*" grep -q '^listening on ' "$1"
  address=$(sed -n 's/^listening on //p' "$1")
}

# end SIGNAL: ends the process in $service, the last one that was started; its status in $status
end() {
  local process left=()
  status=0
  kill "-$1" "$service"
  wait "$service" 2>/dev/null || status=$?
  for process in "${services[@]}"; do [ "$process" = "$service" ] || left+=("$process"); done
  services=("${left[@]}")
}

# refused STATUS WORDS PROGRAM ARGUMENT...: that status, one line with the words on stderr, nothing on stdout
refused() {
  local expected=$1 words=$2 program=$3 status=0
  shift 3
  timeout 10 "$program" "$@" >shown 2>said </dev/null || status=$?
  [ "$status" -eq "$expected" ] && [ "$(wc -l <said)" -eq 1 ] && [ ! -s shown ] &&
    grep -q "^${program##*/}: .*$words" said || fail "$*: status $status, $(cat shown said)"
}

# documented PROGRAM: each of its options in its manual page; this tree's version
documented() {
  local option program=${1##*/}
  "$1" --help | grep -q '^usage: ' || fail "$program has no help"
  for option in $("$1" --help | grep -oE -- '--[a-z]+' | sort -u); do
    sed 's/\\-/-/g' "$source/docs/man/$program.1" | grep -qE -- "^\.B.* \"?$option" ||
      fail "$option is not in the manual page of $program"
  done
  grep -q "VERSION $("$1" --version | sed -n "s/^$program //p")$" "$source/CMakeLists.txt" ||
    fail "$program has another version"
}

# inspected FILE...: what tarn-inspect shows of them, a line of JSON each
inspected() { "$programs/tarn-inspect" "$@" | awk '/^[ {}]/ {printf "%s", $0} /^}/ {print ""}'; }

# block LANGUAGE WORDS: the block in that language with the words that docs/delivery.md shows
block() {
  awk -v open="^\`\`\`$1\$" -v words="$2" '$0 ~ open {block = ""; on = 1; next}
    /^```$/ {if (on && index(block, words)) printf "%s", block; on = 0}
    on {block = block $0 "\n"}' "$source/docs/delivery.md"
}

peer=("$python" "$source/tests/service/peer.py")
# call TARGET ARGUMENT...: what tarn-send is answered, method and status in a line each. The search for leaks at its
# end crashes now and then where threads of gRPC end meanwhile.
call() {
  ASAN_OPTIONS=detect_leaks=0 "$tarn_send" --to "$@" 2>said_of_calls |
    sed -E 's/.*"method":"([^"]*)","status":([0-9]+),.*/\1 \2/'
}

# requests FILE...: the messages in files as lines for tarn-send
requests() {
  paste <(printf '%s\n' "$@" | sed 's/.*-//; s/\..*//') <(inspected "$@") |
    sed -E 's/^([^\t]*)\t(.*)/{"method":"\1","request":\2}/'
}

# call_all TARGET OPTION...: sends the messages of $first, in their order
call_all() {
  requests "${first[@]:0:methods}" >compacts
  requests "${first[@]:methods}" >fulls
  call "$@" --keep-going --file compacts
  call "$@" --keep-going --full --file fulls
}

# capture_all: messages of every method in both encodings, in the folder all; one of each in $first, compact ones first
capture_all() {
  local number
  mkdir all
  "$send_all" all >/dev/null
  mapfile -t first < <(
    for number in $(seq 1 3 $((3 * methods))); do printf '%s\n' "all/$(printf %04d "$number")"-*.bin; done |
      sort -st. -k2,2
  )
  [ ${#first[@]} -eq "$messages" ] ||
    fail "${#first[@]} messages captured, not $messages: one for each method and each full encoding"
}
