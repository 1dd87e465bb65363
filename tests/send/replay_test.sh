#!/usr/bin/env bash
# Recorded calls, made again.
# usage: replay_test.sh TARN_SEND RECORD SEND_ALL
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
"${PYTHON:-python3}" "$(dirname "$0")/replay_test.py" "$@"
