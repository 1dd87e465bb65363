#!/usr/bin/env bash
# Runs the programs that docs/reading.md shows, on captured rule MAC requests in both encodings;
# compares the examples that docs/testing.md shows with the files that are built; has the catalogue show
# meanings.
# usage: docs_test.sh SOURCE_DIR SEND_ALL TARN_INSPECT CATALOGUE CXX
set -eu
source=$1 send_all=$2 tarn_inspect=$3 catalogue=$4 cxx=$5 python=${PYTHON:-python3}
PATH=${tarn_inspect%/*}:$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# block DOCUMENT LANGUAGE: the code that the document shows in that language
block() { awk -v open="^\`\`\`$2\$" '$0 ~ open {on = 1; next} /^```$/ {on = 0} on' "$source/docs/$1"; }

{ block testing.md c && block testing.md json; } |
  diff - <(cd "$source/examples" && cat caller_test.c scripted_test.c refused_once.json) ||
  { echo "docs/testing.md shows other examples than those of examples/" >&2; exit 1; }

# shown by the guide, and in the example that is run
sed -n '/^@pytest.fixture/,/ == status$/p' "$source/docs/shell-and-python.md" | cmp -s - \
  <(sed -n '/^@pytest.fixture/,/ == status$/p' "$source/examples/test_service.py") ||
  { echo "docs/shell-and-python.md shows another test than examples/test_service.py" >&2; exit 1; }

! grep -nE '@[A-Z]+@' "$source"/*.md "$source"/docs/*.md ||
  { echo "a placeholder is left in the documents" >&2; exit 1; }
! grep -nE '[0-9]+ (methods|(asynchronous )?calls|functions|exports)' "$source"/README.md "$source"/docs/architecture.md ||
  { echo "the above changes with every new method" >&2; exit 1; }
rows=$(grep -E '^send\w+ +[0-9]' "$source/README.md") && ! grep -vxFf <("$send_all") <<<"$rows" ||
  { echo "README.md shows other rows than the demo" >&2; exit 1; }
# The sizes in the docstrings of the requests are those of the roll call; two methods may share one.
awk '/^[^#]/ {full = $8 == 0 ? "" : sprintf(", full %d (buffer %d)", $7, $8)
  most = $6 == $5 ? $5 : $5 " to " $6
  printf "`%s`: %d bytes; compact %s%s", $1, $2, most, full; print full == "" ? "" : "."}
  ' "$source/tests/methods.txt" >sizes
sed 's/^ \* / /' "$source/include/mqc_fes_intf.h" | tr -s '\n ' '  ' |
  sed -E 's/`(\w+)` and `(\w+)`(: [^.]*\.)/`\1`\3 `\2`\3/g' >header
while read -r line; do
  grep -qF "$line" header ||
    { echo "mqc_fes_intf.h lacks: $line" >&2; exit 1; }
done <sizes
# What a team writes into the schema is in the catalogue.
cp -r "$source/schema" .
sed -i 's,^table MQC_notify_save_acl_res {,/// What is asked\n&\n/// Where | why\n,' schema/mqc_fes_intf.fbs
sed -i 's,^  sendRuleMac,/// To whom\n&,' schema/mqc_fes_intf_service.fbs
"$catalogue" schema >catalogue.md
for line in 'What is asked' '| 0 | `f0` | `u32` | 0 | 4 | 0 to 4,294,967,295 | Where \| why |' \
  '| `sendRuleMac` | [MQC_RuleMac](#MQC_RuleMac) | To whom |'; do
  grep -qxF "$line" catalogue.md || { echo "the catalogue lacks '$line'" >&2; exit 1; }
done
sed -i '/^  qos_car_oper/d' schema/mqc_fes_intf_service.fbs
! "$catalogue" schema >/dev/null 2>said && grep -q 'differ' said ||
  { echo "the catalogue takes a schema without a method" >&2; exit 1; }

block reading.md cpp >read.cpp
block reading.md python >read.py
flatc --cpp --python "$source/schema/mqc_fes_intf.fbs"
"$cxx" -std=c++17 -o read read.cpp
mkdir captured
"$send_all" captured >/dev/null

expected='head.f0 67305985, f3 37, f1 19 1a 1b 1c 1d 1e'
for file in captured/0016-sendRuleMac.{compact,full}.bin; do
  for reader in ./read "$python read.py"; do
    found=$($reader "$file")
    [ "$found" = "$expected" ] || { echo "$reader $file: $found, expected $expected" >&2; exit 1; }
  done
done
sed -n '/^\$ build\/demo\/bin\/tarn-inspect/,/^```/p' "$source/README.md" | sed '1d;$d' >shown
"$tarn_inspect" captured/0016-sendRuleMac.compact.bin | diff shown - ||
  { echo "README.md shows another request than the example sends" >&2; exit 1; }

"${send_all%/*}/first_call" captured >/dev/null
"$tarn_inspect" --annotate captured/*-sendClassifierTemplate.compact.bin >annotated
! grep '^  +' "$source/README.md" | grep -vxFf annotated ||
  { echo "README.md shows other bytes than the demo" >&2; exit 1; }
head -c 60 captured/0016-sendRuleMac.compact.bin >cut.bin
! ./read cut.bin 2>/dev/null || { echo "the C++ reader takes a message that was cut" >&2; exit 1; }
# An empty table is whole, and has nothing of what the reader reads.
printf '\10\0\0\0\4\0\4\0\4\0\0\0' >empty.bin
status=0
./read empty.bin || status=$?
[ "$status" -eq 1 ] || { echo "the C++ reader ends with $status on an empty table" >&2; exit 1; }
# The accessors alone would read the whole message in it.
{ cat captured/0016-sendRuleMac.full.bin; echo; } >longer.bin
! "$python" read.py longer.bin 2>/dev/null ||
  { echo "the Python reader takes bytes behind a message" >&2; exit 1; }
echo "both readers read both encodings"
