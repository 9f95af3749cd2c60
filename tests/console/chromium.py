"""Debian's Chromium without a window, controlled through a pipe by the DevTools protocol: no driver, no port, and the
same accessibility tree as for a screen reader. It connects only to 127.0.0.1.
"""

import base64
import contextlib
import fcntl
import json
import os
import select
import subprocess
import tempfile
import time

from quorva import DEADLINE, end, fail

PROGRAM = "/usr/bin/chromium"
OPTIONS = [
    "--headless=new", "--remote-debugging-pipe", "--no-first-run", "--no-default-browser-check", "--disable-sync",
    "--disable-background-networking", "--disable-component-update", "--disable-default-apps", "--disable-extensions",
    "--disable-domain-reliability", "--disable-breakpad", "--disable-dev-shm-usage", "--disable-gpu", "--mute-audio",
    "--disable-features=Translate,OptimizationHints,MediaRouter,DialMediaRouteProvider",
    "--password-store=basic", "--lang=en-US", "--force-device-scale-factor=1", "--hide-scrollbars", "--no-proxy-server",
    "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1, EXCLUDE localhost",
]

KEYS = {  # name: (code, virtual key, text)
    "Tab": ("Tab", 9, ""), "Enter": ("Enter", 13, "\r"), "Escape": ("Escape", 27, ""), "Space": ("Space", 32, " "),
    "ArrowDown": ("ArrowDown", 40, ""), "ArrowUp": ("ArrowUp", 38, ""), "Backspace": ("Backspace", 8, ""),
    "a": ("KeyA", 65, ""), "s": ("KeyS", 83, ""),
}
CONTROL, SHIFT = 2, 8  # modifiers


class Chromium:
    """A browser process with one page. It is terminated with this object."""

    def __init__(self):
        self.home = tempfile.TemporaryDirectory(prefix="quorva-browser-", ignore_cleanup_errors=True)
        to_read, self.writing = os.pipe()
        self.reading, to_write = os.pipe()
        # The browser takes descriptor 3 to read from and 4 to write to; high numbers avoid both.
        pair = [fcntl.fcntl(descriptor, fcntl.F_DUPFD, 20) for descriptor in (to_read, to_write)]
        sandbox = ["--no-sandbox"] if os.getuid() == 0 else []  # which refuses to run as root
        self.process = subprocess.Popen(
            ["bash", "-c", f'exec "$@" 3<&{pair[0]} 4>&{pair[1]}', "bash", PROGRAM, *OPTIONS, *sandbox,
             f"--user-data-dir={self.home.name}/profile", "about:blank"],
            pass_fds=pair, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={"HOME": self.home.name, "PATH": "/usr/bin:/bin", "TZ": "UTC", "XDG_RUNTIME_DIR": self.home.name})
        for descriptor in (to_read, to_write, *pair):
            os.close(descriptor)
        self.buffer = b""
        self.last = 0
        self.session = None
        self.events = []

    def open(self):
        """Attaches to a new page."""
        target = self.command("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.command("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Accessibility", "DOM", "Network"):
            self.command(domain + ".enable")

    def send(self, method, **parameters):
        """Sends a command of the protocol, and returns its number."""
        self.last += 1
        message = {"id": self.last, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.writing, json.dumps(message).encode() + b"\0")
        return self.last

    def command(self, method, **parameters):
        """The result of a command of the protocol."""
        number = self.send(method, **parameters)
        deadline = time.monotonic() + DEADLINE
        while True:
            answer = self.receive(deadline)
            if answer.get("id") == number:
                if "error" in answer:
                    fail(f"{method}: {answer['error']}")
                return answer["result"]
            if "method" in answer:
                self.events.append(answer)
            if answer.get("method") == "Page.javascriptDialogOpening":  # nothing continues before it is answered
                self.send("Page.handleJavaScriptDialog", accept=True)

    def receive(self, deadline):
        while b"\0" not in self.buffer:
            if not select.select([self.reading], [], [], max(0.0, deadline - time.monotonic()))[0]:
                fail("the browser does not answer")
            piece = os.read(self.reading, 1 << 20)
            if not piece:
                fail("the browser has ended")
            self.buffer += piece
        message, _, self.buffer = self.buffer.partition(b"\0")
        return json.loads(message)

    def close(self):
        with contextlib.suppress(OSError):
            os.close(self.writing)  # it exits when its pipe is closed
        with contextlib.suppress(subprocess.TimeoutExpired):
            self.process.wait(10)
        end(self.process)
        os.close(self.reading)
        self.home.cleanup()

    # The page.

    def go(self, url):
        self.command("Page.navigate", url=url)

    def reload(self):
        self.evaluate("window.isOld = true")
        self.command("Page.reload")
        self.wait("window.isOld === undefined")

    def evaluate(self, expression):
        """The value of a JavaScript expression, or of its promise."""
        result = self.command("Runtime.evaluate", expression=expression, awaitPromise=True, returnByValue=True,
                              allowUnsafeEvalBlockedByCSP=False)
        if "exceptionDetails" in result:
            fail(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait(self, expression, what=None):
        """Waits until an expression is true, and returns its value."""
        deadline = time.monotonic() + DEADLINE
        while True:
            with contextlib.suppress(Exception):  # the page may be changing
                value = self.evaluate(f"(async () => {{ const found = await ({expression}); "
                                      "return found instanceof Node || found; })()")
                if value:
                    return value
            if time.monotonic() > deadline:
                fail(f"never came true: {what or expression}\n{self.evaluate('document.body.innerText')}")
            time.sleep(0.02)

    def click(self, element):
        """Clicks, with the mouse, the element that an expression finds."""
        self.wait(f"Boolean({element})")
        place = self.evaluate(f"""(() => {{
            const found = {element};
            found.scrollIntoView({{ block: "center", behavior: "instant" }});
            const box = found.getBoundingClientRect();
            return [box.x + Math.min(box.width / 2, 30), box.y + box.height / 2]; // its end may be cut off
        }})()""")
        for kind in ("mousePressed", "mouseReleased"):
            self.command("Input.dispatchMouseEvent", type=kind, x=place[0], y=place[1], button="left", clickCount=1)

    def hover(self, x, y):
        self.command("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)

    def key(self, name, modifiers=0):
        """Presses and releases a key."""
        code, number, text = KEYS[name]
        event = {"key": " " if name == "Space" else name, "code": code, "windowsVirtualKeyCode": number,
                 "modifiers": modifiers}
        self.command("Input.dispatchKeyEvent", type="keyDown", **event,
                     **({"text": text} if text and modifiers == 0 else {}),
                     **({"commands": ["selectAll"]} if name == "a" and modifiers == CONTROL else {}))
        self.command("Input.dispatchKeyEvent", type="keyUp", **event)

    def type(self, text):
        """Types into the focused element."""
        self.command("Input.insertText", text=text)

    def retype(self, text):
        """The same, replacing the current text."""
        self.key("a", CONTROL)
        if text:
            self.type(text)
        else:
            self.key("Backspace")

    # Appearance.

    def resize(self, width, height):
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                     mobile=False)

    def prefer(self, scheme):
        self.command("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": scheme}, {"name": "prefers-reduced-motion", "value": "reduce"}])

    def picture(self, path):
        """Writes a screenshot of the window."""
        data = self.command("Page.captureScreenshot", format="png")["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))

    def accessible(self):
        """The accessibility tree: (role, name, properties) of each node."""
        nodes = self.command("Accessibility.getFullAXTree")["nodes"]
        return [(node.get("role", {}).get("value"), node.get("name", {}).get("value", ""),
                 {entry["name"]: entry["value"].get("value") for entry in node.get("properties", [])})
                for node in nodes if not node.get("ignored")]

    def complaints(self):
        """The errors of the page so far: exceptions, errors on the console, violations of its policy, files that
        are not there. Without requests of the page that failed: what it shows of these is for the tests to check."""
        self.evaluate("0")  # receives what has been sent until now
        found = []
        for event in self.events:
            if event["method"] == "Runtime.exceptionThrown":
                details = event["params"]["exceptionDetails"]
                found.append(details.get("exception", {}).get("description", details["text"]))
            elif event["method"] == "Log.entryAdded" and event["params"]["entry"]["level"] == "error":
                text, url = (event["params"]["entry"].get(part, "") for part in ("text", "url"))
                if not (text.startswith("Failed to load") and url.endswith(("/console/api", "/console/settings"))):
                    found.append(f"{text} {url}")
            elif event["method"] == "Runtime.consoleAPICalled" and event["params"]["type"] in ("error", "assert"):
                found.append(str(event["params"]["args"]))
        return found

    def addresses(self):
        """All requests of the page."""
        self.evaluate("0")
        return [event["params"]["request"]["url"] for event in self.events
                if event["method"] == "Network.requestWillBeSent"]
