#!/usr/bin/env bash
# Records of every method through tarn-send and back.
# usage: records_test.sh SOURCE_DIR SEND_ALL TARN_SEND TARN_INSPECT
set -eu
source=$1 send_all=$2
. "$source/tests/service/common.sh"
capture_all
"$python" "$source/tests/send/records_test.py" "$3" "$4" "$source/schema" "${first[@]}"
