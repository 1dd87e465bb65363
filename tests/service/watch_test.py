"""Readers of tarn-serve's page.

usage: watch_test.py get URL STATUS   whether the page is answered so
       watch_test.py http URL         what is answered over HTTP, and to whom
       watch_test.py idle URL N       N connections without a request, and waits
       watch_test.py stall URL N      N whose answers are not read, N whose requests do not end, and waits
       watch_test.py fill SOCKET N    N callers of gRPC that have begun, and waits
       watch_test.py poll URL         asks for calls until SIGUSR1, then says how many there are
       watch_test.py browser URL TARGET BROWSER TARN_SEND TARN_SERVE PID
                                      what a browser shows of calls to the target, of the service's end and of another
"""
import http.client
import json
import os
import pathlib
import resource
import signal
import socket
import subprocess
import sys
import time
from urllib.parse import urlsplit

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))


def expect(found, expected, what):
    if found != expected:
        sys.exit(f"{what}: {found!r}, not {expected!r}")


def place(url):
    return urlsplit(url).hostname, urlsplit(url).port


def answer(url, path="/", method="GET", headers=()):
    """Status, headers and body; of the headers that are passed, a Host replaces the usual one."""
    connection = http.client.HTTPConnection(*place(url), timeout=60)
    connection.putrequest(method, path, skip_host=any(name == "Host" for name, _ in headers), skip_accept_encoding=True)
    for name, value in headers:
        connection.putheader(name, value)
    connection.endheaders()
    got = connection.getresponse()
    return got.status, dict(got.getheaders()), got.read().decode()


def get(url, status):
    """Tries again where too many others wait, as a browser does."""
    for _ in range(200):
        try:
            return expect(answer(url)[0], int(status), "the page")
        except ConnectionError:
            time.sleep(0.1)
    sys.exit("the page is not answered")


def raw(url, request):
    """What the bytes of a request are answered."""
    with socket.create_connection(place(url), timeout=60) as peer:
        parts = []
        try:
            peer.sendall(request)
            while part := peer.recv(65536):
                parts.append(part)
        except (BrokenPipeError, ConnectionResetError):
            pass
        return b"".join(parts)


def http_answers(url):
    status, headers, body = answer(url, headers=[("Accept-Encoding", "gzip, br"), ("Range", "bytes=0-3")])
    expect((status, "Content-Encoding" in headers), (200, False), "the page")
    expect(body.startswith("<!doctype html>") and body.endswith("</html>\n"), True, "the page's text")
    for other in ("http:", "https:", "src=", "href="):
        expect(other in body.replace("http://www.w3.org/2000/svg", ""), False, "a source elsewhere: " + other)
    expect((headers["Cache-Control"], headers["X-Content-Type-Options"]), ("no-store", "nosniff"), "headers")
    policy = headers["Content-Security-Policy"]
    expect(policy.startswith("default-src 'none'; script-src 'sha256-") and policy.count("unsafe") == 1, True, policy)

    port = place(url)[1]
    for host in (f"localhost:{port}", "127.0.0.1", "127.8.9.10:1", f"[::1]:{port}"):
        expect(answer(url, headers=[("Host", host)])[0], 200, host)
    for host in ("example.org", f"example.org:{port}", "127.0.0.1.example.org", "localhost.example.org:80", "0.0.0.0",
                 "[::]", "192.0.2.1", "", f"user@localhost:{port}"):
        for path in ("/", "/calls?after=0", "/call?number=1"):
            expect(answer(url, path, headers=[("Host", host)])[0], 403, host + path)
    expect(answer(url, headers=[("Host", "localhost"), ("Host", "example.org")])[0], 403, "two hosts")
    expect(b" 403 " in raw(url, b"GET / HTTP/1.0\r\n\r\n"), True, "no host")

    for method in ("HEAD", "POST", "PUT", "DELETE", "OPTIONS", "PATCH"):
        expect(answer(url, method=method, headers=[("Content-Length", "0")])[0], 405, method)
    for path, expected in (("/calls", 400), ("/calls?after=", 400), ("/calls?after=-1", 400), ("/calls?after=1x", 400),
                           ("/calls?after=18446744073709551616", 400), ("/calls?after=18446744073709551615", 200),
                           ("/call?number=x", 400), ("/call?number=0", 404), ("/call?number=1", 404),
                           ("/../etc/passwd", 404), ("/%2e%2e/", 404), ("/favicon.ico", 404), ("//", 404)):
        expect(answer(url, path)[0], expected, path)
    for damaged in (b"\r\n\r\n", b"GET\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n", b"\x16\x03\x01\x02\x00\x01\r\n\r\n",
                    b"GET /" + b"x" * 10000 + b" HTTP/1.1\r\nHost: localhost\r\n\r\n",
                    b"GET / HTTP/1.1\r\nHost: localhost\r\n" + b"X: y\r\n" * 10000 + b"\r\n", b"x" * 100000):
        expect(b" 200 " in raw(url, damaged), False, str(damaged[:20]))
    get(url, 200)


def connect_with(family, address, number, *requests):
    """Connects as often with each request, and waits."""
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    peers = []
    for request in int(number) * requests:
        peer = socket.socket(family)
        peer.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
        peer.connect(address)
        peer.sendall(request)
        peers.append(peer)
    print(len(peers), "peers are there", flush=True)
    signal.pause()


def idle(url, number):
    connect_with(socket.AF_INET, place(url), number, b"")


def stall(url, number):
    connect_with(socket.AF_INET, place(url), number,
                 b"GET /calls?after=0 HTTP/1.1\r\nHost: localhost\r\n\r\n", b"GET / HT")


def fill(path, number):
    settings = bytes([0, 0, 0, 4, 0, 0, 0, 0, 0])
    connect_with(socket.AF_UNIX, path, number, b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + settings)


def changes(url, after):
    status, _, body = answer(url, f"/calls?after={after}")
    expect(status, 200, "calls")
    return json.loads(body)


def poll(url):
    """No call is passed over but those that came too fast, and the counts agree."""
    seen, last, isLast = 0, 0, False
    print("polling", flush=True)
    while not isLast:
        isLast = signal.SIGUSR1 in signal.sigpending()
        news = changes(url, seen)
        numbers = [call["number"] for call in news["latest"]]
        expect(numbers, sorted(set(numbers)), "the order of calls")
        new = [number for number in numbers if number > last]
        expect(new, list(range(max(last + 1, news["calls"] - 999), news["calls"] + 1)), "calls since the last look")
        seen, last = news["change"], news["calls"]
    news = changes(url, 0)
    ended = [call for call in news["latest"] if call.get("status") == 0 and not call["isOpen"]]
    expect(news["counts"], [{"method": "sendRuleMac", "calls": last, "failed": 0, "underWay": 0}], "counts")
    print(f"{last} calls, the latest {len(ended)}")


ROWS = "[...document.querySelectorAll('#rows tbody tr')]"
SHOWN = f"{ROWS}.filter((row) => !row.hidden)"
WORDS = "document.getElementById('words').textContent.replace(/since [0-9:]+/g, 'since')"
HEADING = "document.getElementById('chosen').innerText.split('\\n')[0]"


def cells(row):
    """The expression of a row's cells: call, method, variant, kind, bytes, status."""
    return f"[0, 2, 3, 4, 5, 7].map((i) => {SHOWN}[{row}]?.cells[i].textContent).join('|')"


def press_pause(page):
    page.run("document.getElementById('pause').click()")


def call_oddly(target):
    """A damaged request, and a method with a name that is HTML."""
    import grpc
    damaged = pathlib.Path("0001-sendRuleMac.compact.bin").read_bytes()
    with grpc.insecure_channel(target) as channel:
        for path, message in (("sendRuleMac", damaged), ("<img src=x onerror=alert(1)>", b"")):
            channel.unary_unary("/MqcFesIntf/" + path).future(message, timeout=60).code()


def check_rows(page, send, target):
    page.wait(WORDS, "live 0 calls since.")
    instead = page.run("getComputedStyle(document.getElementById('rows'), '::after').content")
    expect(instead.startswith('"Nothing'), True, "words in place of calls")
    # A call is there while it is under way, and others meanwhile; then its caller goes away.
    late = send("qos_group_port")
    page.wait(cells(0), "1|qos_group_port|sync|compact|22|under way")
    send("--stream", "--async", "sendRuleMac", "f1=1,2,3,4,5,6", "f3=37").wait()
    page.wait(cells(0), "2|sendRuleMac|async|compact|73|5")
    late.kill()
    late.wait()
    page.wait(cells(1), "1|qos_group_port|sync|compact|22|no answer")
    call_oddly(target)
    page.wait(cells(1), "3|sendRuleMac|sync|damaged|60|1003 INVALID_ARGUMENT")
    page.wait(cells(0), "4|/MqcFesIntf/<img src=x onerror=alert(1)>||unknown|0|1012 UNIMPLEMENTED")
    page.wait(WORDS, "live 4 calls since.")
    expect(page.run("document.querySelectorAll('img').length"), 0, "elements that a peer sent")
    counts = "[...document.querySelectorAll('#counts tbody tr')].map((row) => row.innerText.replaceAll('\\t', ' '))"
    expect(page.run(counts), ["sendRuleMac 2 2 0", "qos_group_port 1 1 0", "unknown methods 1 1 0"], "counts")


def check_chosen(page):
    page.run(f"{SHOWN}[2].click()")
    page.wait(HEADING, "Call 2: sendRuleMac: MQC_RuleMac, compact, 73 bytes")
    page.run("""[...document.querySelectorAll('#chosen li > span')].find((e) => e.textContent.startsWith('f1: '))
                .dispatchEvent(new MouseEvent('mouseover', {bubbles: true}))""")
    lit = "[...document.querySelectorAll('#chosen pre .lit')].map((e) => e.textContent.trim()).join('|')"
    expect(page.run(lit), "01 02 03 04 05 06", "bytes of a field")
    page.run("document.body.dispatchEvent(new KeyboardEvent('keydown', {key: 'ArrowUp', bubbles: true}))")
    page.wait(HEADING, "Call 3: sendRuleMac: damaged, or not a MQC_RuleMac: +15: the offset to head points outside")
    fault = "document.querySelector('#chosen .fault')"
    expect(page.run(f"{fault}.textContent.trim() + ' behind ' + {fault}.previousSibling.textContent"),
           "30 behind  0C 00 00 00 25 ", "the place of the damage")
    page.run(f"{SHOWN}[0].click()")
    page.wait(HEADING, "Call 4: its request is not kept.")


def check_controls(page, send, url):
    page.run("[...document.querySelectorAll('#counts td')].find((e) => e.textContent === 'sendRuleMac').click()")
    shown = f"{SHOWN}.length + ' of ' + {ROWS}.length"
    expect(page.run(shown), "2 of 4", "calls of a method")
    expect(page.run("document.getElementById('method').value"), "sendRuleMac", "the method")
    press_pause(page)
    send("qos_group_member").wait()
    send("--full", "sendRuleMac").wait()
    expect(changes(url, 0)["calls"], 6, "calls meanwhile")
    expect(page.run(WORDS) + page.run(shown), "paused 4 calls since.2 of 4", "a page that is paused")
    press_pause(page)
    page.wait(WORDS, "live 6 calls since.")
    page.wait(cells(0), "6|sendRuleMac|sync|full|104|5")
    expect(page.run(shown), "3 of 6", "calls of a method, later")
    # More than are kept, while nobody looks.
    press_pause(page)
    send("--load", "--count", "1500", "--in-flight", "1500", "qos_group_member").wait()
    press_pause(page)
    page.wait(WORDS, "live 1,506 calls since. The latest 1,000 are listed. 500 came too fast to be listed.")
    expect(page.run(f"{ROWS}.length"), 1000, "rows")


def check_another(page, send, url, service):
    """A service at the place of one that has ended has calls of its own, none of which is chosen."""
    another = subprocess.Popen([*service, "--page", ":".join(map(str, place(url)))], stdout=subprocess.DEVNULL)
    try:
        page.wait(WORDS, "live 0 calls since.")
        expect(page.run(f"{ROWS}.length"), 0, "calls of another service")
        send("--load", "--count", "4", "qos_group_member").wait()  # the fourth of the former one was chosen
        page.wait(WORDS, "live 4 calls since.")
        chosen = "document.querySelectorAll('tr.chosen, #chosen > *').length"
        expect(page.run(chosen), 0, "a choice from another service")
    finally:
        another.terminate()
        another.wait()


def browser(url, target, program, tarn_send, tarn_serve, service):
    from browser import Browser

    def send(*arguments):
        environment = dict(os.environ, ASAN_OPTIONS="detect_leaks=0")
        return subprocess.Popen([tarn_send, "--to", target, *arguments], env=environment, stdout=subprocess.DEVNULL)

    with Browser(program) as page:
        page.open(url)
        check_rows(page, send, target)
        check_chosen(page)
        check_controls(page, send, url)
        expect(page.complaints(), [], "the browser's complaints")
        os.kill(int(service), signal.SIGTERM)
        page.wait(WORDS + ".startsWith('the service is gone since 1,506')")
        check_another(page, send, url, [tarn_serve, "--listen", target])


signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGUSR1})
scenarios = {"get": get, "http": http_answers, "idle": idle, "stall": stall, "fill": fill, "poll": poll,
             "browser": browser}
scenarios[sys.argv[1]](*sys.argv[2:])
