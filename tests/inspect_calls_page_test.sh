#!/usr/bin/env bash
# The page of a recording, in a browser without a screen: order, search, the chosen call.
# usage: inspect_calls_page_test.sh SEND_ALL TARN_INSPECT BROWSER RECORD
set -eu
send_all=$1 inspect=$2 browser=$3 record=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
LD_PRELOAD=$record TARN_RECORD=calls "$send_all" >/dev/null
LC_ALL=C sed 's/end 16 sendRuleMac \([a-z0-9 ]*\)status 0/end 16 sendRuleMac \1status 5/' calls >failed
"$inspect" --html --output page.html failed
! grep -qE '(src|href)=|https?://[^w]' page.html || { echo "the page needs others" >&2; exit 1; }

cat >>page.html <<'END_OF_SCRIPT'
<script type="module">
  const cells = (i) => [...document.querySelectorAll("tbody tr")].map((row) => row.cells[i].textContent);
  const press = (name) => [...document.querySelectorAll("th button")].find((b) => b.textContent === name).click();
  const results = [cells(0).length];
  const search = document.getElementById("search");
  search.value = "rulemac SYNC";
  search.dispatchEvent(new Event("input"));
  results.push(cells(4).join());
  press("call");
  results.push(cells(0).every((call, i, all) => i === 0 || Number(call) < Number(all[i - 1])));
  press("status");
  press("status");
  results.push(cells(8)[0]);
  document.querySelector("tbody tr").click();
  const chosen = document.getElementById("chosen");
  results.push(chosen.querySelector("h2").textContent);
  const entry = [...chosen.querySelectorAll("li > span")].find((e) => e.textContent.startsWith("f1: "));
  entry.dispatchEvent(new MouseEvent("mouseover", {bubbles: true}));
  results.push([...chosen.querySelectorAll("pre .lit")].map((part) => part.textContent.trim()).join("|"));
  document.querySelectorAll("circle")[0].dispatchEvent(new MouseEvent("click", {bubbles: true}));
  results.push(chosen.querySelector("h2").textContent.split(":")[0], document.querySelectorAll("circle.bad").length);
  document.body.textContent = results.map((result) => "is <" + result + ">").join(" ");
</script>
END_OF_SCRIPT
timeout 120 "$browser" --headless --no-sandbox --disable-gpu --user-data-dir="$work/profile" \
  --dump-dom "file://$work/page.html" >dom 2>log || { tail log >&2; exit 1; }
grep -o 'is &lt;[^;]*&gt;' dom | sed 's/&[lg]t;/ /g; s/ $//' | diff - <(
  printf 'is  %s\n' "$("$inspect" calls | wc -l)" sendRuleMac,sendRuleMac true 5 \
    'Call 16: sendRuleMac: MQC_RuleMac, compact, 89 bytes' '19 1A 1B 1C 1D 1E' 'Call 1' 1
) || { echo "the page shows something else" >&2; exit 1; }
echo "calls are sorted, found and chosen"
