#!/usr/bin/env bash
# What the recorder exports: a platform's RPC functions alone. It needs the C library alone, and nothing of that
# which allocates; it stays loaded.
# usage: surface_test.sh LIBRARY SOURCE_DIR NM READELF
set -eu
library=$1 source=$2 nm=$3 readelf=$4
fail() { echo "$library: $*" >&2; exit 1; }
declared=$(sed -nE 's/^(u32|void\*) (RPC_[A-Za-z]+)\(.*/\2/p' "$source/platform/include/tarn/rpc.h" | LC_ALL=C sort)
[ "$(wc -l <<<"$declared")" -eq 4 ] || fail "not four functions are declared: $declared"
[ "$("$nm" -D --defined-only "$library" | awk '{print $3}' | LC_ALL=C sort)" = "$declared" ] ||
  fail "exports other functions: $("$nm" -D --defined-only "$library")"
"$readelf" -dW "$library" | sed -nE 's/.*NEEDED.*\[(.*)\]/\1/p' | { ! grep -vE '^(libc|ld-linux[a-z0-9-]*|ld64)\.so'; } ||
  fail "needs more than the C library"
"$readelf" -dW "$library" | grep -q NODELETE || fail "can be unloaded"
! "$nm" -D --undefined-only "$library" | grep -wE '(m|c|re)alloc|free|_Zn[aw].*|_Zd[al].*|__tls_get_addr|strerror_r' ||
  fail "allocates"
echo "4 functions exported"
