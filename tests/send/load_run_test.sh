#!/usr/bin/env bash
# tarn-send under load: what arrives, what is counted, what the page shows.
# usage: load_run_test.sh SOURCE_DIR TARN_SEND TARN_SERVE PLATFORM BROWSER
set -eu
source=$1 send=$2 tarn_serve=$3 platform=$4 browser=$5
. "$source/tests/service/common.sh"
unset "${!TARN_GRPC_@}"
to=unix:$work/socket

# load STATUS ARGUMENT...: a load with that exit status and nothing on stderr; its result in the file result
load() {
  local expected=$1 status=0
  shift
  timeout 300 "$send" --load --json "$@" >result 2>said || status=$?
  [ "$status" -eq "$expected" ] && [ ! -s said ] || fail "$*: status $status, $(cat said)"
}
# holds EXPRESSION: it is true of the result r
holds() {
  "$python" -c 'import json, sys
r = json.load(open("result"))
total = lambda name, key: sum(part[key] for part in r[name])
statuses = {part["status"]: part["calls"] for part in r["statuses"]}
sys.exit(not eval(sys.argv[1]))' "$1" || fail "not true: $1; $(sed 's/"histogram":\[[^]]*\]//' result)"
}
arrived() { grep -c " $1 " out || true; }

cat >lines <<'END'
{"method": "sendRuleMac", "request": {"f3": 37}}
{"method": "qos_group_port", "variant": "oneway"}
{"method": "match_acl_oper", "variant": "async"}
END
serve out --listen "$to" --status match_acl_oper=5
round=0
for options in "--rate 3000" "--rate 3000 --stream" "--in-flight 7 --duration 1h"; do
  round=$((round + 1))
  # shellcheck disable=SC2086
  load 1 --to "$to" --deadline 300 $options --count 601 --file lines
  holds 'r["calls"] == 601 and statuses == {0: 401, 5: 200} and r["other_statuses"] == 0'
  holds 'r["not_started"] == r["never_ended"] == 0 and not r["interrupted"] and r["rate"] > 0'
  holds 'r["latency"]["calls"] == total("histogram", "calls") == 401'
  holds 'total("over_time", "started") == total("over_time", "ended") == 601 and total("over_time", "failed") == 200'
  holds '[r["latency"][p] for p in ("p50", "p90", "p99", "p99.9", "max")] == sorted(list(r["latency"].values())[1:])'
  for method in sendRuleMac:201 qos_group_port:200 match_acl_oper:200; do
    await "$options: $method" eval '[ "$(arrived '"${method%:*}"')" -eq $((round * '"${method#*:}"')) ]'
  done
done

# A service that stands still holds up the calls behind it; their latency counts from when they were due. A signal
# ends the load. The line of progress is for terminals.
cat >terminal.py <<'END'
import os, pty, re, signal, subprocess, sys, termios, time
service, *command = sys.argv[1:]
ours, theirs = pty.openpty()
with open("result", "w") as result:
    run = subprocess.Popen(command, stdout=result, stderr=theirs)
def calls(shown=b""):  # in the next line
    while not (line := re.search(rb"\r\d+ s  ([\d,]+) calls .* failed", shown)):
        shown += os.read(ours, 1000)
    return int(line[1].replace(b",", b""))
calls()
os.kill(int(service), signal.SIGSTOP)
time.sleep(2)
os.kill(int(service), signal.SIGCONT)
termios.tcflush(ours, termios.TCIFLUSH)
ended = calls()
while calls() < ended + 150:  # those that were held up are 100
    pass
run.send_signal(signal.SIGINT)
sys.exit(run.wait())
END
ended=0
timeout 300 "$python" terminal.py "$service" "$send" --load --json --to "$to" --deadline 300 --rate 50 --duration 1h \
  --in-flight 5 sendRuleMac f3=1 || ended=$?
[ $ended -eq 0 ] || holds 'r["not_started"] > 0' # on a machine that stood still, too
holds 'r["interrupted"] and r["never_ended"] == 0 and statuses == {0: r["calls"]} and r["seconds"] < 3600'
holds 'sum(b["calls"] for b in r["histogram"] if b["from"] > 500000) > 50 and r["latest_start"] > 1e6'

# The page is written whole, where it can be, before the first call is made.
"$send" --load --to "$to" --rate 2000 --count 2000 --html page.html sendRuleMac >shown || fail "a page: status $?"
grep -q '^status 0  *2,000  success$' shown && grep -q '^p99.9  *[0-9.]*$' shown || fail "another text: $(cat shown)"
cat >>page.html <<'END'
<script>
  const plots = [...document.querySelectorAll("svg")].filter((svg) => svg.querySelector("path, rect"));
  const broken = plots.filter((svg) => /NaN|undefined|Infinity/.test(svg.innerHTML));
  document.body.textContent = `${plots.length} plots, ${broken.length} broken`;
</script>
END
timeout 120 "$browser" --headless --no-sandbox --disable-gpu --user-data-dir="$work/profile" \
  --dump-dom "file://$work/page.html" >dom 2>log || { tail log >&2; exit 1; }
grep -q '4 plots, 0 broken' dom || fail "another page: $(tail -n 3 dom | cut -c 1-200)"
lines=$(wc -l <out)
refuses() { refused "$1" "$2" "$send" "${@:3}"; }
refuses 1 'absent/page.html: No such file' --load --to "$to" --html absent/page.html sendRuleMac
[ "$(wc -l <out)" -eq "$lines" ] || fail "calls without a place for the page"
end TERM

# Calls that are refused, and calls that never end, are counted.
load 1 --to "$to" --count 20 sendRuleMac
holds 'statuses == {1014: 20} and "UNAVAILABLE" in r["statuses"][0]["meaning"]'
printf '{"method": "%s"}\n' sendRuleMac match_any_oper >odd
TARN_GRPC_DEADLINE_MS=1 load 1 --platform "$platform" --count 10 --file odd
holds 'statuses == {77: 5} and r["never_ended"] == 5'

for rate in 0 -1 1e9 x; do refuses 2 "--rate $rate: not calls a second" --load --rate $rate sendRuleMac; done
for time in 10 0s 1d 169h s -1s; do refuses 2 "--duration $time: not a time" --load --duration $time sendRuleMac; done
refuses 2 '--count 0: not calls' --load --count 0 sendRuleMac
refuses 2 '--in-flight 1000001: not calls' --load --in-flight 1000001 sendRuleMac
refuses 2 'are for --load' --rate 5 sendRuleMac
refuses 2 'stdin: no request' --load --to "$to"
echo "loads are sent, counted, shown"
