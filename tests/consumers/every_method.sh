#!/usr/bin/env bash
# Sends the requests that a C program sends, one of every method, from the shell and from Python to a service that
# keeps what arrives, and compares the bytes.
# usage: every_method.sh SEND_ALL
# environment: PATH with tarn-send, tarn-inspect and tarn-serve; PYTHON, with tarn_mqc
set -eu
send_all=$1 python=${PYTHON:-python3}
work=$(mktemp -d)
service=
trap '[ -z "$service" ] || kill "$service"; rm -rf "$work"' EXIT
mkdir "$work/all" "$work/c" "$work/served"
"$send_all" "$work/all" >/dev/null
# Of the calls of a method the first.
for file in "$work"/all/*.compact.bin; do
  method=${file##*/*-} && method=${method%.compact.bin}
  [ -e "$work/c/$method" ] || cp "$file" "$work/c/$method"
done
methods=$(tarn-send --methods | cut -d ' ' -f 1)
[ "$(ls "$work/c")" = "$(sort <<<"$methods")" ] || { echo "every_method.sh: the C program sends other methods" >&2; exit 1; }

tarn-serve --listen "unix:$work/socket" --capture "$work/served" >"$work/lines" &
service=$!
export TARN_GRPC_TARGET=unix:$work/socket TARN_GRPC_WAIT=1
for method in $methods; do
  tarn-inspect --method "$method" "$work/c/$method" >"$work/$method.json"
  tarn-send "$method" - <"$work/$method.json" >"$work/answer"
  grep -q '"status":0' "$work/answer" || { cat "$work/answer" >&2; exit 1; }
done
"$python" - "$work" $methods <<'END'
import pathlib
import sys

import tarn_mqc

work, *methods = sys.argv[1:]
with tarn_mqc.connect() as mqc:
    mqc.check = True
    for method in methods:
        record = tarn_mqc.REQUESTS[method].from_json(pathlib.Path(work, f"{method}.json").read_text())
        getattr(mqc, method)(record)
END
count=0
for file in "$work"/served/*.compact.bin; do
  method=${file##*/*-} && method=${method%.compact.bin}
  cmp "$file" "$work/c/$method"
  count=$((count + 1))
done
[ "$count" -eq $((2 * $(wc -w <<<"$methods"))) ] || { echo "every_method.sh: $count requests arrived" >&2; exit 1; }
echo "$count requests arrived as the C program sends them"
