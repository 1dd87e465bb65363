#!/usr/bin/env bash
# What a platform's shared object exports: the functions that its headers declare and the log function
# of tarn/log.h, nothing else. Its threads outlive a dlclose(), so it must stay loaded.
# usage: platform_surface_test.sh LIBRARY NM READELF HEADER...
set -eu
library=$1 nm=$2 readelf=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
{
  sed -nE 's/^(u32|u64|int|void\*?|const char\*) ([A-Za-z0-9_]+)\(.*/\2/p' "$@"
  sed -nE 's/^#define KVR_OSAL_LOG_WRITE "(.*)"/\1/p' "$@"
} | LC_ALL=C sort >"$work/declared"
"$nm" -D --defined-only "$library" | awk '{print $3}' | LC_ALL=C sort >"$work/exported"
[ "$(wc -l <"$work/declared")" -ge 10 ] || { echo "too few declarations to be true" >&2; exit 1; }
diff "$work/declared" "$work/exported" >&2 || { echo "< declared, > exported" >&2; exit 1; }
"$readelf" -dW "$library" | grep -q NODELETE || { echo "$library can be unloaded" >&2; exit 1; }
echo "$(wc -l <"$work/declared") functions exported"
