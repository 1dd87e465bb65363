#!/usr/bin/env bash
# The house's checks can fail: each is run on a copy of the tree in which one thing is wrong.
# usage: checks_test.sh SOURCE_DIR
set -eu
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$source"/{include,codec,msg,stubs,methods,platform,shared,record,reader,script,page,inspect,send,service,python,scripts} "$work"
cd "$work"
fail() { echo "checks: $*" >&2; exit 1; }
scripts/layers.sh || fail "layers.sh refuses the tree as it is"

# against FILE LINE: layers.sh refuses the file with the line in it, and says so
against() {
  [ -f "$1" ] || fail "$1 is no file"
  cp "$1" kept
  printf '%s\n' "$2" >>"$1"
  ! scripts/layers.sh 2>said || fail "layers.sh takes '$2' in $1"
  grep -qF "$1" said && grep -qF "$2" said || fail "layers.sh says: $(cat said)"
  mv kept "$1"
}
against include/mqc_fes_intf.h '#include "codec/bytes.h"'
against codec/contract.cpp '#include "msg/messages.h"'
against codec/compact.h '#include "tarn/rpc.h"'
against codec/bytes.h '#  include <stubs/calls.h>'
against msg/encoders.cpp '#include "stubs/calls.h"'
against msg/messages.h '#include <methods/describe.h>'
against methods/methods.cpp '#include "msg/encoders.h"'
against stubs/calls.cpp '#include "codec/compact.h"'
against platform/loopback/runtime.cpp '#include "codec/bytes.h"'
against platform/common/log.cpp '#include "platform/loopback/state.h"'
against platform/grpc/runtime.cpp '#include "platform/loopback/state.h"'
against shared/report.cpp '#include "reader/walk.h"'
against send/library.cpp '#include "codec/full.h"'
against record/runtime.cpp '#include "platform/common/encode.h"'
against reader/walk.cpp '#include "page/message.h"'
against page/section.cpp '#include "inspect/calls.h"'
against script/script.cpp '#include "reader/walk.h"'
against platform/loopback/runtime.cpp '#include "script/rules.h"'
against inspect/annotate.cpp '#include "service/server.h"'
against service/journal.cpp '#include "platform/grpc/channel.h"'
against python/generate.cpp '#include "reader/walk.h"'
against platform/include/tarn/loopback.h '#include "shared/report.h"'
echo "each include against the layers is refused"
