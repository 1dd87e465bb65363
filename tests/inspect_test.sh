#!/usr/bin/env bash
# What tarn-inspect shows, and what it refuses, on captures of every method.
# usage: inspect_test.sh SOURCE_DIR SEND_ALL TARN_INSPECT
set -eu
source=$1 send_all=$2 inspect=$3
. "$source/tests/service/common.sh"
capture_all
for form in --json --annotate --html; do
  "$inspect" $form "${first[@]}" >"shown$form" || fail "a captured message is refused"
done
"$python" "$source/tests/inspect_test.py" "$inspect" "$source/schema" "${first[@]}" || exit 1

rule=all/0016-sendRuleMac.compact.bin
"$inspect" $rule | grep -q '"f1": \[ 25, 26, 27, 28, 29, 30 \]' || fail "JSON lacks the MAC address"
"$inspect" --annotate all/0097-act_redirect_nhp.full.bin | sed -n '/ f11\[0\]\|f13\[0/p' | diff - <(
  sed 's/^/  +/' <<'END'
9C   44 00 00 00              offset of f11[0]: +E0
DC   04 00 00 00              block of f11[0]: +E0
E0   E4 FF FF FF              table-to-vtable offset of f11[0]: +FC
E4   04 00 00 00              offset field of f11[0].f0: +E8
E8   10 00 00 00              count of f11[0].f0: 16
EC   71 72 73 74 00 00 00 00  f11[0].f0[0] to [7]: ubyte
F4   79 7A 7B 7C 7D 7E 7F 80  f11[0].f0[8] to [15]: ubyte
FC   06 00                    vtable size of f11[0]: 6
FE   1C 00                    table size of f11[0]: 28
100  04 00                    field offset of f11[0].f0: +E4
102  00 00                    gap of f11[0]
3AC  B1 B2 B3 B4 B5 B6 B7 B8  f13[0] to [3]: 45745, 46259, 46773, 47287
END
) || fail "an annotation is another"

refuses() { refused "$1" "$2" "$inspect" "${@:3}"; }
mkdir bad
cp all/0016-sendRuleMac.full.bin bad/0003-sendNothing.full.bin
cp $rule bad/0004-sendRuleMac.full.bin
cp $rule bad/message
hostile=$'bad/0005\n\e[31m\xE2\x80\xAE<b a="&">-sendRuleMac.compact.bin'
shown='bad/0005\\n\\x1B\[31m\\u{202E}<b a="&">'
cp $rule "$hostile"
refuses 1 'no method is called sendNothing' bad/0003-sendNothing.full.bin
refuses 1 'in the compact encoding' bad/0004-sendRuleMac.full.bin
head -c 60 all/0001-*.compact.bin >bad/cut
refuses 1 'f1 with 32 elements reaches past the end' --method sendClassifierTemplate bad/cut
refuses 1 'its name' --html bad/message
refuses 1 "$shown.*: its name" "$hostile"
refuses 1 '+4100000: longer than any message' --method sendRuleMac /dev/zero
refuses 1 'No such file' bad/0001-sendRuleMac.compact.bin
refuses 1 'Is a directory' --method sendRuleMac bad
refuses 1 '+00: the root offset' --method sendRuleMac -
refuses 1 'No such file' --output absent/page $rule
refuses 1 '/bad: Is a directory' --output bad $rule
refuses 1 '+04: a vtable of 12 bytes, that of MQC_match_acl has 16' --method match_acl_oper $rule
refuses 1 '0\.\.\.$' "$(printf %0100000d 1)-a.compact.bin"
refuses 2 'no file' --html
refuses 2 'value is empty' --output '' $rule
refuses 2 '--bogus\\x1B: no such option' $'--bogus\e' $rule
refuses 2 'no such option' --method
refuses 2 'no such method' --method sendNothing $rule
refuses 2 'unknown method' -
refuses 2 'named twice' --method sendRuleMac - -
status=0
"$inspect" $rule >/dev/full 2>said || status=$?
[ "$status" -eq 1 ] && grep -q '^tarn-inspect: stdout: No space' said || fail "a full disk: $(cat said)"
status=0
"$inspect" bad/message $rule >shown 2>said || status=$?
[ "$status" -eq 1 ] && [ "$(wc -l <said)" -eq 1 ] && grep -q "^$rule: MQC_RuleMac" shown ||
  fail "a message beside a refused one is not shown"

"$inspect" $rule >json
"$inspect" --method sendRuleMac - <$rule | diff json - || fail "the standard input"
"$inspect" --method sendRuleMac --output file bad/message && diff json file || fail "--output"
: >secret
chmod 600 secret
! "$inspect" --output secret $rule absent 2>&- || fail "an absent file is no failure where stderr is closed"
[ "$(stat -c %a secret)" = 600 ] && ! grep -q absent secret && grep -q "^$rule: " secret ||
  fail "--output beside a closed stderr: $(stat -c %a secret), $(head -c 200 secret)"
"$inspect" --method sendRuleMac --annotate "$hostile" | grep -q "^$shown.*: MQC_RuleMac" || fail "a file's name as it is"
"$inspect" --method sendRuleMac --html "$hostile" | grep -qF '<section><h2>bad/0005\n\x1B[31m\u{202E}&lt;b a="&amp;">-sendRule' ||
  fail "a file's name on the page"
status=0
(trap '' XFSZ && ulimit -f 8 && exec "$inspect" --annotate --output file "${first[@]}") 2>said || status=$?
[ "$status" -eq 1 ] && grep -q '/file: File too large$' said && diff json file && [ "$(echo file*)" = file ] ||
  fail "a file that cannot be written whole: $(cat said; echo file*)"
mkfifo pipe
timeout 60 cat pipe >piped &
timeout 60 "$inspect" --output pipe $rule && wait $! && [ -p pipe ] && diff json piped || fail "--output takes a pipe away"
ln -s file link
echo kept >file.part
"$inspect" --annotate --output link $rule && [ -L link ] && ! diff file json >/dev/null &&
  [ "$(cat file.part)" = kept ] || fail "--output follows no link, or takes another file's name"
mkdir ./-odd
cp $rule ./-odd/0001-sendRuleMac.compact.bin
"$inspect" --json -- -odd/0001-sendRuleMac.compact.bin | diff json - || fail "a path with a dash"
documented "$inspect"
"$inspect" --methods | grep -qx 'sendRuleMac MQC_RuleMac' && [ "$("$inspect" --methods | wc -l)" -eq "$methods" ] ||
  fail "--methods lists others than tests/methods.txt"

# completed WORD...: what the shell offers for the last word
completed() {
  COMP_WORDS=("$inspect" "$@") COMP_CWORD=$#
  _tarn_inspect "$inspect"
  printf '%s\n' "${COMPREPLY[@]}"
}
. "$source/inspect/completion.bash"
[ "$(completed --method sendRule)" = sendRuleMac ] || fail "methods are not completed"
for option in $("$inspect" --help | grep -oE -- '--[a-z]+' | sort -u); do
  completed "$option" | grep -qxe "$option" || fail "$option is not completed"
done
[ "$(completed --json bad/mes)" = bad/message ] || fail "files are not completed"
echo "captures are shown, damaged ones refused"
