#!/usr/bin/env bash
# Shows captured messages, as JSON or as annotated bytes. The file's name tells the method:
# 0007-sendRuleMac.compact.bin
# usage: inspect.sh [--json | --annotate] FILE...
set -eu
here=$(cd "$(dirname "$0")" && pwd)
header=$here/../include/mqc_fes_intf.h
schema=$here/../schema/mqc_fes_intf.fbs
. "$here/packages.sh"

me=${TARN_INSPECT_NAME:-inspect.sh}

usage() { echo "usage: $me [--json | --annotate] FILE..." >&2; exit 2; }

form=--json
case ${1:-} in
  --json | --annotate) form=$1; shift ;;
esac
case ${1:-} in
  --) shift ;;
  -*) usage ;;
esac
[ $# -gt 0 ] || usage
need flatbuffers-compiler >&2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

refuse() { echo "$me: $1: $2" >&2; failed=1; }

# root_type METHOD: the request record in the method's row of the roll call
root_type() { sed -nE "s/.*(BOTH|COMPACT)\\($1, ([A-Za-z0-9_]+)\\).*/\\2/p" "$header"; }

# In a shell of its own, which hears in silence when a damaged message crashes flatc.
run_flatc() {
  (
    cd "$work"
    timeout 10 flatc "$@"
    exit $?
  ) >/dev/null 2>&1
}

show() {
  local file=$1 name method type
  [ -f "$file" ] && [ -r "$file" ] || { refuse "$file" "cannot be read"; return; }
  name=${file##*/}
  method=$(sed -nE 's/^[0-9]+-([A-Za-z0-9_]+)\.(compact|full)\.bin$/\1/p' <<<"$name")
  [ -n "$method" ] || { refuse "$file" "its name is not NUMBER-METHOD.compact.bin or .full.bin"; return; }
  type=$(root_type "$method")
  [ -n "$type" ] || { refuse "$file" "no method is called $method"; return; }

  # flatc reads a file's words before it looks whether they are there, and checks offsets only when
  # it annotates.
  cp "$schema" "$work/schema.fbs"
  echo "root_type $type;" >>"$work/schema.fbs"
  cp -- "$file" "$work/message.bin"
  rm -f "$work/message.afb" "$work/message.json"
  [ "$(stat -c %s -- "$file")" -ge 12 ] && run_flatc --annotate schema.fbs -- message.bin &&
    [ -s "$work/message.afb" ] && ! grep -q 'ERROR' "$work/message.afb" ||
    { refuse "$file" "damaged, or not a $type"; return; }
  if [ "$form" = --annotate ]; then
    echo "$name: $type, $(stat -c %s -- "$file") bytes"
    awk -f "$here/annotated.awk" "$work/message.afb" "$work/message.afb"
  else
    run_flatc --json --raw-binary --strict-json --defaults-json --root-type "$type" schema.fbs \
      -- message.bin || { refuse "$file" "damaged, or not a $type"; return; }
    sed -zE 's/\n *([0-9]+)/ \1/g; s/([0-9])\n *\]/\1 ]/g' "$work/message.json"
  fi
}

failed=0
for file in "$@"; do show "$file" || failed=1; done
exit $failed
