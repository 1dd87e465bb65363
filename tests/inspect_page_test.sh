#!/usr/bin/env bash
# The page that tarn-inspect writes, in a browser without a screen: what lights up under the pointer.
# usage: inspect_page_test.sh SEND_ALL TARN_INSPECT BROWSER
set -eu
send_all=$1 inspect=$2 browser=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir all
"$send_all" all >/dev/null
"$inspect" --html --output page.html all/0016-sendRuleMac.*.bin

# Over the bytes of the second message's f1, over its entry, over the head's entry, over no field.
cat >>page.html <<'END'
<script type="module">
  const second = document.querySelectorAll("section")[1];
  const entry = (text) => [...second.querySelectorAll("li > span")].find((e) => e.textContent.startsWith(text));
  const over = (part) => {
    part.dispatchEvent(new MouseEvent("mouseover", {bubbles: true}));
    const lit = [...document.querySelectorAll("section .lit")];
    const where = lit.every((part) => second.contains(part)) ? "" : "elsewhere, too: ";
    return where + lit.map((part) => part.localName === "li" ? part.firstElementChild.textContent
                                                              : part.textContent.trim()).join("|");
  };
  const bytes = [...second.querySelectorAll("pre b")].find((e) => e.textContent.startsWith("19 1A"));
  const results = [over(bytes), over(entry("f1: ")), over(entry("offset field of f2")), over(document.body)];
  document.body.textContent = results.map((result) => "lit <" + result + ">").join(" ");
</script>
END
timeout 120 "$browser" --headless --no-sandbox --disable-gpu --user-data-dir="$work/profile" \
  --dump-dom "file://$work/page.html" >dom 2>log || { tail log >&2; exit 1; }
grep -o 'lit &lt;[^;]*&gt;' dom | sed 's/&[lg]t;/ /g' | diff - <(
  echo 'lit  19 1A 1B 1C 1D 1E|f1: 25, 26, 27, 28, 29, 30 '
  echo 'lit  19 1A 1B 1C 1D 1E|f1: 25, 26, 27, 28, 29, 30 '
  echo 'lit  04 00 00 00|06 00 00 00|1F 20|00 00 00 00|offset field of f2: +4A '
  echo 'lit   '
) || { echo "other bytes and entries light up" >&2; exit 1; }
echo "bytes and entries light each other up"
