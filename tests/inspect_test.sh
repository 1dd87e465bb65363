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
/usr/bin/python3 "$source/tests/inspect_test.py" "$inspect" "$source/schema" "${first[@]}" || exit 1

rule=all/0016-sendRuleMac.compact.bin
"$inspect" $rule | grep -q '"f1": \[ 25, 26, 27, 28, 29, 30 \]' || fail "JSON lacks the MAC address"

refuses() { refused "$1" "$2" "$inspect" "${@:3}"; }
mkdir bad
cp all/0016-sendRuleMac.full.bin bad/0003-sendNothing.full.bin
cp $rule bad/0004-sendRuleMac.full.bin
cp $rule bad/message
hostile=$'bad/0005\n\e[31m\u202E<b a="&">-sendRuleMac.compact.bin'
shown='bad/0005\\n\\x1B\[31m\\u{202E}<b a="&">'
cp $rule "$hostile"
refuses 1 'no method is called sendNothing' bad/0003-sendNothing.full.bin
refuses 1 'in the compact encoding' bad/0004-sendRuleMac.full.bin
head -c 60 all/0001-*.compact.bin >bad/cut
refuses 1 'f1 with 32 elements reaches past the end' --method sendClassifierTemplate bad/cut
refuses 1 'its name' bad/message
refuses 1 "$shown.*: its name" "$hostile"
refuses 1 '+4100000: longer than any message' --method sendRuleMac /dev/zero
refuses 1 'No such file' bad/0001-sendRuleMac.compact.bin
refuses 1 'Is a directory' --method sendRuleMac bad
refuses 1 '+00: the root offset' --method sendRuleMac -
refuses 1 'No such file' --output absent/page $rule
refuses 1 '/dev/full: No space' --output /dev/full $rule
refuses 1 '+04: a vtable of 12 bytes, that of MQC_match_acl has 16' --method match_acl_oper $rule
refuses 2 'no file'
refuses 2 '--bogus\\x1B: no such option' $'--bogus\e' $rule
refuses 2 'no such option' --method
refuses 2 'no such method' --method sendNothing $rule
refuses 2 'its method is not known' -
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
"$inspect" --method sendRuleMac --annotate "$hostile" | grep -q "^$shown.*: MQC_RuleMac" || fail "a file's name as it is"
"$inspect" --method sendRuleMac --html "$hostile" | grep -qF '<section><h2>bad/0005\n\x1B[31m\u{202E}&lt;b a="&amp;">-sendRule' ||
  fail "a file's name on the page"
ln -s file link
echo kept >file.part
"$inspect" --annotate --output link $rule && [ -L link ] && ! diff file json >/dev/null &&
  [ "$(cat file.part)" = kept ] || fail "--output follows no link, or takes another file's name"
mkdir ./-odd
cp $rule ./-odd/0001-sendRuleMac.compact.bin
"$inspect" --json -- -odd/0001-sendRuleMac.compact.bin | diff json - || fail "a path with a dash"
documented "$inspect"
[ "$("$inspect" --methods | wc -l)" -eq "$methods" ] || fail "--methods lists others than tests/methods.txt"

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
