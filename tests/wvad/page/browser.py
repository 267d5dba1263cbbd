# SPDX-License-Identifier: Apache-2.0
"""A headless Chromium, driven over its debugging protocol through two pipes: JSON with a zero byte behind each message. Nothing but the
standard library and Debian's package chromium."""
import base64
import json
import os
import select
import shutil
import signal
import subprocess
import tempfile
import time


def find():
    """The program, or None where there is none."""
    return next((path for name in ("chromium", "chromium-browser", "google-chrome") if (path := shutil.which(name))), None)


class Browser:
    """One window. Script errors, and whatever the page wants from a network, are gathered."""

    TIMEOUT_S = 90

    def __init__(self, width=1280, height=1000, dark=False):
        self._start()
        self.resize(width, height)
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def _start(self, tries=3):
        """What is under test is the page: a Chromium that ends before it has shown one is started again."""
        self._pending, self._number, self._session = b"", 0, None
        self.errors, self.requests, self._documents = [], [], set()
        self._launch()
        try:
            target = self.call("Target.createTarget", url="about:blank")["targetId"]
            self._session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
            for domain in ("Page", "Runtime", "Log", "Network"):
                self.call(f"{domain}.enable")
        except (BrokenPipeError, RuntimeError, TimeoutError):
            self.__exit__()
            if tries == 1:
                raise
            self._start(tries - 1)

    def _launch(self):
        # Its processes may write for a moment longer than it lives.
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        to_read, self._write = os.pipe()
        self._read, to_write = os.pipe()

        def place_pipes():
            # Numbers that are free of those that are moved.
            read, write = os.dup(to_read), os.dup(to_write)
            os.dup2(read, 3)
            os.dup2(write, 4)

        # Containers have little of /dev/shm.
        command = [find(), "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                   "--disable-background-networking", "--mute-audio", "--hide-scrollbars", "--autoplay-policy=no-user-gesture-required",
                   "--force-color-profile=srgb", "--font-render-hinting=none", f"--user-data-dir={self._profile.name}",
                   "--remote-debugging-pipe", "about:blank"]
        self._words = open(os.path.join(self._profile.name, "stderr"), "w+b")
        self._process = subprocess.Popen(command, close_fds=False, preexec_fn=place_pipes, start_new_session=True, stdout=subprocess.DEVNULL,
                                         stderr=self._words)
        os.close(to_read)
        os.close(to_write)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for end in (signal.SIGTERM, signal.SIGKILL):  # the second for those that outlive it
            try:
                os.killpg(self._process.pid, end)
            except ProcessLookupError:
                break
            self._process.wait()
        os.close(self._read)
        os.close(self._write)
        self._words.close()
        self._profile.cleanup()

    def _last_words(self):
        self._words.seek(max(0, self._words.seek(0, os.SEEK_END) - 2000))
        return self._words.read().decode(errors="replace")

    def _message(self, until):
        while b"\0" not in self._pending:
            if not select.select([self._read], [], [], max(0, until - time.monotonic()))[0]:
                raise TimeoutError(f"the browser does not answer; it said: {self._last_words()}")
            piece = os.read(self._read, 1 << 20)
            if not piece:
                raise RuntimeError(f"the browser has ended; it said: {self._last_words()}")
            self._pending += piece
        text, self._pending = self._pending.split(b"\0", 1)
        return json.loads(text)

    def _note(self, message):
        method, parameters = message.get("method"), message.get("params", {})
        if method == "Runtime.exceptionThrown":
            details = parameters["exceptionDetails"]
            self.errors.append(details.get("exception", {}).get("description") or details["text"])
        elif method == "Log.entryAdded" and parameters["entry"]["level"] == "error":
            self.errors.append(parameters["entry"]["text"])
        elif method == "Network.requestWillBeSent":
            self.requests.append(parameters["request"]["url"][:200])
        elif method == "Page.frameNavigated" and "parentId" not in parameters["frame"]:
            self._documents.add(parameters["frame"]["loaderId"])
        elif method == "Inspector.targetCrashed":
            raise RuntimeError(f"the page has crashed; the browser said: {self._last_words()}")

    def call(self, method, **parameters):
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._write, json.dumps(message).encode() + b"\0")
        until = time.monotonic() + self.TIMEOUT_S
        while True:
            answer = self._message(until)
            if answer.get("id") != self._number:
                self._note(answer)
            elif "error" in answer:
                raise RuntimeError(f"{method}: {answer['error']['message']}")
            else:
                return answer["result"]

    def evaluate(self, expression):
        """The value of a JavaScript expression, awaited if it is a promise."""
        result = self.call("Runtime.evaluate", expression=expression, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(result["exceptionDetails"]["exception"].get("description", "exception"))
        return result["result"].get("value")

    def wait_for(self, expression):
        until = time.monotonic() + self.TIMEOUT_S
        while not self.evaluate(expression):
            if time.monotonic() > until:
                raise TimeoutError(f"never true: {expression}")
            time.sleep(0.02)

    def forget(self):
        """Leaves what is open, then forgets errors and requests: nothing of it is told any more. The pointer goes to where no page has anything."""
        self._go("about:blank")
        self.move(0, 0)
        self.errors.clear()
        self.requests.clear()

    def open(self, path):
        """Opens a file and waits until its script has put the page together, and it has been shown: clicks and turns of the wheel that come before are lost."""
        self._go("file://" + os.path.abspath(path))
        self.wait_for("document.documentElement?.dataset.ready")
        self.wait_for("performance.getEntriesByName('first-contentful-paint').length")
        self.settle()

    def _go(self, url):
        """Until then an expression might still be answered by the document before."""
        document = self.call("Page.navigate", url=url)["loaderId"]
        until = time.monotonic() + self.TIMEOUT_S
        while document not in self._documents:
            self._note(self._message(until))

    def settle(self):
        """Two pictures later."""
        self.evaluate("new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))")

    def resize(self, width, height, scale=1):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=scale, mobile=False)

    def click(self, x, y):
        self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)
        for kind in ("mousePressed", "mouseReleased"):
            self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", buttons=1, clickCount=1)
        self.settle()

    def move(self, x, y):
        self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)
        self.settle()

    def drag(self, x, y, to_x):
        self.call("Input.dispatchMouseEvent", type="mousePressed", x=x, y=y, button="left", buttons=1, clickCount=1)
        for step in range(1, 9):
            self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x + (to_x - x) * step / 8, y=y, button="left", buttons=1)
        self.call("Input.dispatchMouseEvent", type="mouseReleased", x=to_x, y=y, button="left", buttons=0, clickCount=1)
        self.settle()

    def wheel(self, x, y, delta_y, delta_x=0):
        self.evaluate("window.wheeled = new Promise((done) => addEventListener('wheel', done, { once: true })), 0")
        self.call("Input.dispatchMouseEvent", type="mouseWheel", x=x, y=y, deltaX=delta_x, deltaY=delta_y)
        self.evaluate("window.wheeled.then(() => 0)")  # the page has answered it
        self.settle()

    def key(self, key, text=None):
        self.call("Input.dispatchKeyEvent", type="keyDown", key=key, **({"text": text} if text else {}))
        self.call("Input.dispatchKeyEvent", type="keyUp", key=key)
        self.settle()

    def screenshot(self, box=None):
        """What can be seen, or of it the box [left, top, width, height], as PNG."""
        clip = {"clip": dict(zip(("x", "y", "width", "height"), box), scale=1)} if box else {}
        return base64.b64decode(self.call("Page.captureScreenshot", format="png", **clip)["data"])
