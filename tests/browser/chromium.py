"""A headless Chromium, driven over the pipes of its DevTools protocol: one JSON text a message, ended by a zero byte."""

import base64
import fcntl
import io
import json
import os
import select
import shutil
import signal
import tempfile
import time

from PIL import Image


class BrowserError(Exception):
    """The browser does not run, does not answer, or refuses a command."""


class Browser:
    """A browser with one page. Nothing that it is asked for can leave the machine: no host name resolves.

    `requests` are the addresses that the page has asked for, `complaints` its console errors and exceptions.
    """

    TIMEOUT = 120.0  # seconds for any single answer; a busy machine takes its time

    def __init__(self, executable, width, height, flags=()):
        self._profile = tempfile.mkdtemp(prefix="lxcvbrowser.")
        command_in, self._write = os.pipe()
        self._read, answers_out = os.pipe()
        # The browser takes commands from descriptor 3 and answers on 4. Ours are out of their way first.
        high_in, high_out = _above_ten(command_in), _above_ten(answers_out)
        self._write, self._read = _above_ten(self._write), _above_ten(self._read)
        arguments = [executable, "--headless", "--no-sandbox", "--remote-debugging-pipe", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     "--disable-dev-shm-usage", "--hide-scrollbars", "--force-device-scale-factor=1",
                     "--host-resolver-rules=MAP * ~NOTFOUND", f"--user-data-dir={self._profile}",
                     f"--window-size={width},{height}", *flags, "about:blank"]
        log = os.path.join(self._profile, "stderr")
        actions = [(os.POSIX_SPAWN_DUP2, high_in, 3), (os.POSIX_SPAWN_DUP2, high_out, 4),
                   (os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0),
                   (os.POSIX_SPAWN_OPEN, 2, log, os.O_WRONLY | os.O_CREAT, 0o600)]
        environment = dict(os.environ, HOME=self._profile)
        self._process = os.posix_spawn(executable, arguments, environment, file_actions=actions, setpgroup=0)
        os.close(high_in)
        os.close(high_out)
        self._log = log
        self._buffer = b""
        self._next = 0
        self._session = None
        self.requests = []
        self.complaints = []
        self._attach(width, height)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            os.killpg(self._process, signal.SIGKILL)
        except ProcessLookupError:
            pass
        os.waitpid(self._process, 0)
        os.close(self._read)
        os.close(self._write)
        shutil.rmtree(self._profile, ignore_errors=True)

    def _attach(self, width, height):
        pages = self.call("Target.getTargets")["targetInfos"]
        page = next(page["targetId"] for page in pages if page["type"] == "page")
        self._session = self.call("Target.attachToTarget", targetId=page, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Network", "Log"):
            self.call(domain + ".enable")
        self.resize(width, height)

    def _receive(self, deadline):
        while b"\0" not in self._buffer:
            ready, _, _ = select.select([self._read], [], [], max(0.0, deadline - time.monotonic()))
            chunk = os.read(self._read, 1 << 20) if ready else b""
            if not chunk:
                with open(self._log, errors="replace") as log:
                    raise BrowserError("the browser does not answer; it says:\n" + log.read()[-2000:])
            self._buffer += chunk
        message, self._buffer = self._buffer.split(b"\0", 1)
        return json.loads(message)

    def _note(self, event):
        parameters = event.get("params", {})
        method = event.get("method")
        if method == "Network.requestWillBeSent":
            self.requests.append(parameters["request"]["url"])
        elif method == "Runtime.exceptionThrown":
            details = parameters["exceptionDetails"]
            self.complaints.append(details.get("exception", {}).get("description", details["text"]))
        elif method == "Runtime.consoleAPICalled" and parameters["type"] in ("error", "warning", "assert"):
            self.complaints.append(str([value.get("value") for value in parameters["args"]]))
        elif method == "Log.entryAdded" and parameters["entry"]["level"] == "error":
            self.complaints.append(parameters["entry"]["text"])

    def call(self, method, **parameters):
        """Sends a command and waits for its answer; events that come meanwhile are noted."""
        self._next += 1
        command = {"id": self._next, "method": method, "params": parameters}
        if self._session:
            command["sessionId"] = self._session
        os.write(self._write, json.dumps(command).encode() + b"\0")
        deadline = time.monotonic() + self.TIMEOUT
        while True:
            message = self._receive(deadline)
            if message.get("id") == self._next:
                if "error" in message:
                    raise BrowserError(f"{method}: {message['error']['message']}")
                return message["result"]
            self._note(message)

    def open(self, address):
        self.requests.clear()
        self.complaints.clear()
        result = self.call("Page.navigate", url=address)
        if "errorText" in result:
            raise BrowserError(f"{address}: {result['errorText']}")
        self.wait_for("document.readyState === 'complete'")

    def resize(self, width, height):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def evaluate(self, expression):
        """The value of a JavaScript expression, whose promise is awaited."""
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in answer:
            details = answer["exceptionDetails"]
            raise BrowserError(f"{expression}: {details.get('exception', {}).get('description', details['text'])}")
        return answer["result"].get("value")

    def wait_for(self, expression, despite_complaints=False):
        """Waits until a JavaScript expression holds. A page with errors is not waited for, unless they are expected."""
        deadline = time.monotonic() + self.TIMEOUT
        while not self.evaluate(expression):
            if time.monotonic() > deadline or (self.complaints and not despite_complaints):
                raise BrowserError(f"{expression} does not come true; the page complains: {self.complaints}")
            time.sleep(0.05)

    def settle(self):
        """Waits until what was asked for is drawn."""
        self.evaluate("new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => done(1))))")

    def screenshot(self, selector=None):
        """A picture of an element, scrolled into view, or of the whole page."""
        self.settle()
        if selector is None:
            size = self.evaluate("[document.documentElement.scrollWidth, document.documentElement.scrollHeight]")
            clip = {"x": 0, "y": 0, "width": size[0], "height": size[1], "scale": 1}
        else:
            box = self.evaluate(f"(() => {{ const box = document.querySelector({json.dumps(selector)})"
                                ".getBoundingClientRect();"
                                "return [box.x + scrollX, box.y + scrollY, box.width, box.height]; })()")
            clip = dict(zip(("x", "y", "width", "height"), box), scale=1)
        data = self.call("Page.captureScreenshot", format="png", clip=clip, captureBeyondViewport=True)["data"]
        return Image.open(io.BytesIO(base64.b64decode(data))).convert("RGB")

    def mouse(self, kind, x, y, **more):
        self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, **more)

    def drag(self, start, end, button="left", modifiers=0, steps=8):
        """Presses a mouse button at a place of the window, moves to another and lets go."""
        held = {"left": 1, "right": 2, "middle": 4}[button]
        self.mouse("mousePressed", *start, button=button, buttons=held, clickCount=1, modifiers=modifiers)
        for step in range(1, steps + 1):
            x, y = (a + (b - a) * step / steps for a, b in zip(start, end))
            self.mouse("mouseMoved", x, y, button=button, buttons=held, modifiers=modifiers)
        self.mouse("mouseReleased", *end, button=button, buttons=0, clickCount=1, modifiers=modifiers)

    def press(self, key, modifiers=0):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, modifiers=modifiers)


def _above_ten(descriptor):
    """The same file under a number beyond those that the child wants, closed in children."""
    moved = fcntl.fcntl(descriptor, fcntl.F_DUPFD_CLOEXEC, 10)
    os.close(descriptor)
    return moved
