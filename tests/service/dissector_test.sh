#!/usr/bin/env bash
# What tshark shows of messages, whole and hostile ones; captures nothing.
# usage: dissector_test.sh SOURCE_DIR TARN_SERVE SEND_ALL
set -eu
source=$1 tarn_serve=$2 send_all=$3
. "$source/tests/service/common.sh"
capture_all
inspected "${first[@]}" >inspected
"$python" "$source/tests/service/dissector_test.py" "$source" inspected "${first[@]}" || exit 1
echo "messages are shown field by field, damaged ones as such"
