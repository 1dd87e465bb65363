"""A browser without a screen, driven through its debugging pipe."""
import fcntl
import json
import os
import shutil
import subprocess
import tempfile
import time


class Browser:
    """One page of a headless chromium; ends with the `with` block."""

    def __init__(self, program, width=1280, height=900):
        self.profile = tempfile.mkdtemp()
        from_us, to_browser = os.pipe()
        from_browser, to_us = os.pipe()

        def descriptors():
            # Where the browser expects them; out of the way first, as they may have each other's numbers.
            reading, writing = (fcntl.fcntl(end, fcntl.F_DUPFD_CLOEXEC, 10) for end in (from_us, to_us))
            os.dup2(reading, 3)
            os.dup2(writing, 4)

        self.process = subprocess.Popen(
            [program, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--remote-debugging-pipe",
             "--no-proxy-server", f"--window-size={width},{height}", f"--user-data-dir={self.profile}"],
            preexec_fn=descriptors, close_fds=False, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(from_us)
        os.close(to_us)
        self.to_browser, self.from_browser = open(to_browser, "wb", 0), open(from_browser, "rb", 0)
        self.arrived, self.number, self.session, self.events = b"", 0, None, []
        target = self.ask("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.ask("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.ask(domain + ".enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.to_browser.close()
        self.from_browser.close()
        shutil.rmtree(self.profile, ignore_errors=True)

    def _receive(self):
        while b"\0" not in self.arrived:
            part = self.from_browser.read(65536)
            if not part:
                raise EOFError("the browser has ended")
            self.arrived += part
        message, _, self.arrived = self.arrived.partition(b"\0")
        return json.loads(message)

    def ask(self, method, **parameters):
        """The browser's answer to a command of its protocol."""
        self.number += 1
        command = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            command["sessionId"] = self.session
        self.to_browser.write(json.dumps(command).encode() + b"\0")
        while True:
            message = self._receive()
            if message.get("id") == self.number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message["result"]
            self.events.append(message)

    def open(self, url):
        """Opens a page, and waits until it is there."""
        self.ask("Page.navigate", url=url)
        self.wait("location.href + ' ' + document.readyState", url + " complete")

    def run(self, script):
        """The value of an expression, which may be a promise."""
        result = self.ask("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{script}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait(self, script, value=True, seconds=20):
        """Waits until the expression has the value."""
        end = time.monotonic() + seconds
        found = self.run(script)
        while found != value:
            if time.monotonic() > end:
                raise AssertionError(f"{script}: {found!r}, not {value!r}")
            time.sleep(0.05)
            found = self.run(script)

    def complaints(self):
        """What the browser or a script has complained of."""
        self.run("0")
        return [event["params"] for event in self.events
                if event["method"] in ("Log.entryAdded", "Runtime.exceptionThrown")]

    def look(self, scheme):
        """The scheme of colours that the page finds: light or dark."""
        self.ask("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def picture(self):
        """The page as a PNG, base64."""
        return self.ask("Page.captureScreenshot", format="png")["data"]
