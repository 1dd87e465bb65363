#!/usr/bin/env bash
# Builds the library and a platform, sends requests of every method, and shows what was sent.
# Installs what is missing (as root).
# usage: demo.sh             with the loopback
#        demo.sh service     over gRPC, to a service in another process
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
inspect=$PWD/build/demo/bin/tarn-inspect
case $* in
  '' | service) ;;
  *) echo "usage: demo.sh [service]" >&2; exit 2 ;;
esac

build() {
  echo "--- configuring"
  quietly cmake --preset demo
  echo "--- building: half a minute of processor time"
  cmake --build --preset demo
}
title() { printf '\n=== %s\n\n' "$*"; }

loopback_demo() {
  need "${build_packages[@]}" libflatbuffers-dev libpcap-dev
  build
  mkdir "$work/first" "$work/all"

  title "One request, sent in three ways, and encoded by hand"
  build/demo/examples/first_call "$work/first"

  title "The same request as captured on its way out"
  (cd "$work/first" && "$inspect" --annotate 0001-*)
  "$inspect" "$work"/first/0001-*.compact.bin

  build/demo/examples/send_all "$work/all" >"$work/table"
  title "The largest match rule, compact"
  (cd "$work/all" && sent=(*-match_all_oper.compact.bin) && "$inspect" --annotate "${sent[0]}")

  title "One request of every method: bytes, and the status of each way to send it"
  cat "$work/table"
}

# start_service OUTPUT ARGUMENT...: tarn-serve, once it listens
start_service() {
  local output=$1 round
  shift
  build/demo/bin/tarn-serve --listen "unix:$work/mqc.sock" "$@" >"$output" &
  service=$!
  for round in $(seq 100); do
    ! grep -q '^listening' "$output" || return 0
    sleep 0.1
  done
  echo "demo.sh: tarn-serve does not listen" >&2
  exit 1
}

# end_service SIGNAL
end_service() {
  kill "-$1" "$service"
  wait "$service" 2>/dev/null || true
  service=
}

service_demo() {
  need "${build_packages[@]}" "${grpc_packages[@]}"
  build
  export TARN_GRPC_TARGET=unix:$work/mqc.sock
  mkdir "$work/kept"

  title "A service: tarn-serve --listen $TARN_GRPC_TARGET --json --capture DIR"
  start_service "$work/arrived" --json --capture "$work/kept"
  title "Another process: one request of every method, its bytes, and the status of each way to send it"
  build/demo/examples/deliver_all
  end_service TERM
  title "What the service printed: the first of its lines, cut to fit, and its totals"
  head -n 16 "$work/arrived" | cut -c 1-110
  sed -n '/^$/,$p' "$work/arrived" | head -n 10
  title "A request as the service kept it"
  kept=("$work"/kept/*-sendRuleMac.compact.bin)
  "$inspect" "${kept[0]}"

  title "The same by hand: tarn-send sendRuleMac head.f0=1 f3=37"
  start_service "$work/by_hand" --json
  build/demo/bin/tarn-send sendRuleMac head.f0=1 f3=37
  end_service TERM
  grep sendRuleMac "$work/by_hand" | head -n 1

  title "A stream of calls; the service is killed after a second, and started again after another"
  start_service "$work/before"
  build/demo/examples/stream 6 &
  stream=$!
  sleep 1
  end_service KILL
  sleep 1
  start_service "$work/after"
  wait "$stream"
  end_service TERM
  title "Totals of the service that was started again"
  sed -n '/^ /,$p' "$work/after"
}

service=
work=$(mktemp -d)
trap '[ -z "$service" ] || kill "$service"; rm -rf "$work"' EXIT
if [ $# -eq 0 ]; then loopback_demo; else service_demo; fi
