#!/usr/bin/env bash
# What the shared object shows, needs and weighs: exports against the roll call, imports, dynamic
# section, relocations, branches, size.
# usage: surface_test.sh LIBRARY SOURCE_DIR CC NM READELF STRIP OBJDUMP
set -eu
library=$1 source=$2 cc=$3 nm=$4 readelf=$5 strip=$6 objdump=$7
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
fail() { echo "surface: $*" >&2; failed=1; }

methods() {
  printf '#include "mqc_fes_intf.h"\n#define NAME(m, T) method m\nMQC_FES_INTF_METHODS(NAME, NAME)\n' |
    "$cc" -E -P -x c -I "$source/include" - | grep -o 'method [A-Za-z0-9_]*' | cut -d' ' -f2
}

# same NAME EXPECTED ACTUAL: two files of sorted lines
same() { diff "$2" "$3" >&2 || fail "$1 differ: < expected, > found"; }

methods >"$work/methods"
awk '/^[^#]/ {print $1}' "$source/tests/methods.txt" >"$work/known"
same "methods of tests/methods.txt and of the roll call" "$work/known" "$work/methods"
count=$(wc -l <"$work/known")
while read -r m; do
  printf 'T MqcFesIntf_%s\n' "$m" "${m}_async" "${m}_oneway" "${m}SetIdl"
done <"$work/methods" >"$work/exports.unsorted"
echo 'D g_stServerAddr_MqcFesIntf' >>"$work/exports.unsorted"
sort "$work/exports.unsorted" >"$work/exports"
"$nm" -D --defined-only "$library" | awk '{print $2, $3}' | sort >"$work/exported"
same exports "$work/exports" "$work/exported"

# memcpy is the one call that compilers add; the dynamic loader's own names may stand beside libc's.
cat >"$work/imports" <<'END'
RPC_GetRpcInvoke
RPC_IdlAsyncCallNoOutStub
RPC_IdlMsgOnewayCall
RPC_IdlSyncCallNoOutStub
dlsym
memcpy_s
memset_s
pthread_mutex_lock
pthread_mutex_unlock
END
"$nm" -D --undefined-only "$library" | awk '{print $2}' | sed 's/@.*//' | grep -vx memcpy |
  LC_ALL=C sort >"$work/imported"
same imports "$work/imports" "$work/imported"

"$readelf" -dW "$library" >"$work/dynamic"
has() { grep -qE "$1" "$work/dynamic" || fail "the dynamic section lacks $1"; }
lacks() { ! grep -qE "$1" "$work/dynamic" || fail "the dynamic section has $1"; }
has 'SONAME.*\[libtarn_cli_mqc\.so\]'
has 'FLAGS.*BIND_NOW'
lacks 'TEXTREL'
lacks '\((INIT|FINI|INIT_ARRAY|FINI_ARRAY)\)'
[ "$(grep NEEDED "$work/dynamic" | sed 's/.*\[\(.*\)\]/\1/')" = libc.so.6 ] ||
  fail "needs more than the C library: $(grep NEEDED "$work/dynamic" | tr -s ' \n' ' ')"

"$readelf" -lW "$library" >"$work/segments"
grep -q GNU_RELRO "$work/segments" || fail "no RELRO segment"
grep -E 'GNU_STACK' "$work/segments" | grep -q 'RW ' || fail "no GNU_STACK segment that is RW only"
! grep -qE 'LOAD.* RWE ' "$work/segments" || fail "a segment is writable and executable"

# By machine: branch protection, marked on the whole object; conditional branches; bytes of .text.
# Other machines are tried for their byte order alone.
case $("$readelf" -hW "$library" | sed -n 's/.*Machine: *//p') in
  *X86-64*) wanted='IBT, SHSTK' branch='j[^m]' most_text=65536 ;;
  AArch64) wanted='BTI, PAC' branch='(b[.]|cbn?z|tbn?z)' most_text=65536 ;;
  *) wanted='' branch='' most_text=81920 ;;
esac
protection=$("$readelf" -nW "$library" 2>/dev/null | sed -n 's/.*feature: //p')
[[ $protection == *"$wanted"* ]] || fail "branch protection is '$protection', not '$wanted'"

# Two names for each MethodId, the log module's two, the server address's one.
relative=$("$readelf" -rW "$library" | grep -cE '_RELATIVE' || true)
[ "$relative" -eq $((2 * count + 3)) ] || fail "$relative relative relocations, not $((2 * count + 3))"

# No encoding branches on a record's values. What is left are the tests of arguments and of a
# caller's buffer, and the loops over nested tables: at most 9 in one function.
if [ -n "$branch" ]; then
  "$objdump" -d --no-show-raw-insn "$library" |
    awk -v branch="\t$branch" '/^[0-9a-f]+ </ {f = $2} $0 ~ branch {++n[f]}
      END {for (f in n) print n[f], substr(f, 1, 60)}' | sort -n >"$work/branches"
  [ "$(wc -l <"$work/branches")" -ge $((count - 5)) ] || fail "too few functions with branches to be true"
  most=$(tail -n 1 "$work/branches")
  [ "${most%% *}" -le 9 ] || fail "too many conditional branches: $most"
fi

size_of() { "$readelf" -SW "$library" | sed 's/\[ *//' | awk -v s="$1" '$2 == s {print $6}'; }
text=$((16#$(size_of .text)))
"$strip" -o "$work/stripped" "$library"
file=$(stat -c %s "$work/stripped")
[ "$text" -le "$most_text" ] || fail ".text is $text bytes, more than $most_text"
[ "$file" -le 143360 ] || fail "the stripped file is $file bytes, more than 143360"

echo "$(wc -l <"$work/exported") exports, $(wc -l <"$work/imported") imports, .text $text bytes, stripped file $file bytes"
exit $failed
