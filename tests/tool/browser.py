"""A headless Chromium that opens pages, is pointed and typed at, and tells what went wrong in them.

It is spoken to by the DevTools protocol over two pipes: file descriptor 3 takes commands, 4 gives answers and events,
each a JSON text that ends with a zero byte.
"""

import json
import os
import select
import shutil
import subprocess
import tempfile
import time

PROGRAM = shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")
# Far more than any page needs, also where two cores are shared by many.
DEADLINE_SECONDS = 120


class BrowserError(Exception):
    pass


class Browser:
    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        command_end, self._commands = os.pipe()
        self._answers, answer_end = os.pipe()
        # Without a sandbox, which root and containers do not have; the pages are our own.
        words = [PROGRAM, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                 "--no-first-run", "--disable-background-networking", "--disable-component-update",
                 "--disable-extensions", "--host-resolver-rules=MAP * ~NOTFOUND",
                 f"--user-data-dir={self._folder.name}", "--remote-debugging-pipe", "about:blank"]
        # The shell puts the pipes where the browser expects them.
        self._process = subprocess.Popen(
            ["/bin/sh", "-c", f'exec "$@" 3<&{command_end} 4>&{answer_end}', "sh", *words],
            pass_fds=(command_end, answer_end), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(command_end)
        os.close(answer_end)
        self._unread = b""
        self._next = 0
        self._session = None
        self._loader = None
        self.complaints = []
        self.requests = []
        self._attach()

    def close(self):
        for pipe in (self._commands, self._answers):
            os.close(pipe)
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        self._folder.cleanup()

    def _attach(self):
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def _read_message(self, end):
        while b"\0" not in self._unread:
            left = end - time.monotonic()
            if left <= 0 or not select.select([self._answers], [], [], left)[0]:
                raise BrowserError(f"no answer in {DEADLINE_SECONDS} s")
            more = os.read(self._answers, 1 << 20)
            if not more:
                raise BrowserError("the browser has ended")
            self._unread += more
        text, self._unread = self._unread.split(b"\0", 1)
        return json.loads(text)

    def _note(self, message):
        """What a page must not do."""
        method, params = message["method"], message.get("params", {})
        if method == "Runtime.exceptionThrown":
            details = params["exceptionDetails"]
            self.complaints.append(details.get("exception", {}).get("description", details["text"]))
        elif method == "Log.entryAdded" and params["entry"]["level"] in ("error", "warning"):
            self.complaints.append(params["entry"]["text"])
        elif method == "Runtime.consoleAPICalled" and params["type"] in ("error", "warning", "assert"):
            self.complaints.append(str(params["args"]))
        elif method == "Page.javascriptDialogOpening":
            self.complaints.append("a dialog: " + params["message"])
        elif method == "Page.frameNavigated" and "parentId" not in params["frame"]:
            self._loader = params["frame"]["loaderId"]
        elif method == "Network.requestWillBeSent":
            self.requests.append(params["request"]["url"])

    def call(self, method, **params):
        self._next += 1
        message = {"id": self._next, "method": method, "params": params}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        end = time.monotonic() + DEADLINE_SECONDS
        while True:
            answer = self._read_message(end)
            if answer.get("id") == self._next:
                if "error" in answer:
                    raise BrowserError(f"{method}: {answer['error']}")
                return answer["result"]
            if "method" in answer:
                self._note(answer)

    def open(self, path, width=1280, height=900, scheme="light"):
        """Opens a file, and waits until it is shown."""
        self.complaints.clear()
        self.requests.clear()
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        loader = self.call("Page.navigate", url="file://" + os.path.abspath(path))["loaderId"]
        # Until then, expressions are about the page before.
        end = time.monotonic() + DEADLINE_SECONDS
        while self._loader != loader:
            self._note(self._read_message(end))
        self.wait_for("document.readyState === 'complete' && "
                      "(performance.getEntriesByName('shown').length > 0 || document.body.innerText === '')")

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            details = result["exceptionDetails"]
            raise BrowserError(details.get("exception", {}).get("description", details["text"]))
        return result["result"].get("value")

    def wait_for(self, expression):
        end = time.monotonic() + DEADLINE_SECONDS
        while not self.evaluate(expression):
            if self.complaints or time.monotonic() > end:
                raise BrowserError(f"never true: {expression}; {self.complaints}")
            # The browser has work to do before it can be true: let it draw.
            self.evaluate("new Promise((done) => setTimeout(done, 10))")

    def box(self, selector):
        """Left, top, width and height of an element, which is scrolled into sight."""
        return self.evaluate(f"""(() => {{
            const element = document.querySelector({json.dumps(selector)});
            element.scrollIntoView({{block: "center", behavior: "instant"}});
            const box = element.getBoundingClientRect();
            return [box.left, box.top, box.width, box.height];
        }})()""")

    def point_at(self, selector, across=0.5):
        left, top, width, height = self.box(selector)
        self.mouse("mouseMoved", left + width * across, top + height / 2)

    def mouse(self, kind, x, y, **more):
        self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, **more)

    def click(self, selector, across=0.5):
        left, top, width, height = self.box(selector)
        x, y = left + width * across, top + height / 2
        self.mouse("mouseMoved", x, y)
        self.mouse("mousePressed", x, y, button="left", buttons=1, clickCount=1)
        self.mouse("mouseReleased", x, y, button="left", clickCount=1)

    def press(self, key, text=""):
        self.call("Input.dispatchKeyEvent", type="keyDown", key=key, code=key, text=text,
                  windowsVirtualKeyCode={"Tab": 9, "Enter": 13}.get(key, 0))
        self.call("Input.dispatchKeyEvent", type="keyUp", key=key, code=key)
